// The keys of a session in a file, as "keys" of a machine file has them and --keys @FILE takes
// them.
#pragma once

#include "sim/trace/Trace.h"

#include <cstdint>
#include <string>

namespace sim {

class KeyRecord {
public:
    // Writes `keys`, which come with every session of this kind, to the file. Without a name
    // nothing is written, ever. Throws std::runtime_error when the file cannot be written, as Add()
    // does.
    KeyRecord(std::string file, Json keys);

    // A key that arrived; the file is complete again afterwards.
    void Add(std::uint64_t milliseconds, const std::string& key, unsigned boot);

private:
    void Write() const;

    std::string file_;
    Json keys_;
};

} // namespace sim
