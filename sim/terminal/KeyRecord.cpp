#include "sim/terminal/KeyRecord.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace sim {

KeyRecord::KeyRecord(std::string file, Json keys) : file_(std::move(file)), keys_(std::move(keys)) {
    Write();
}

void KeyRecord::Add(std::uint64_t milliseconds, const std::string& key, unsigned boot) {
    keys_.push_back({{"at", milliseconds}, {"key", key}, {"boot", boot}});
    Write();
}

void KeyRecord::Write() const {
    if (file_.empty()) {
        return;
    }
    errno = 0;
    std::ofstream stream(file_, std::ios::binary | std::ios::trunc);
    stream << '[';
    const char* separator = "\n";
    for (const Json& key : keys_) {
        stream << separator << "  " << key.dump();
        separator = ",\n";
    }
    stream << "\n]\n";
    if (!stream.flush()) {
        throw std::runtime_error(fmt::format("{}: {}", file_, std::strerror(errno)));
    }
}

} // namespace sim
