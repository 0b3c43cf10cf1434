// Reads machine files: text, then the check of each file by itself, then the merge along "extends".

#include "sim/machine/Embedded.h"
#include "sim/machine/MachineDescription.h"
#include "sim/machine/MachineSchema.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <set>
#include <sstream>

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDefaultName = "default";
constexpr std::string_view kEmptyName = "empty";
constexpr std::size_t kDeepestNesting = 32;
constexpr std::size_t kMostOfReason = 200; // characters of a syntax error, which quotes the text

// Where byte `offset` of a text stands, counted from 1.
std::string LineAndColumn(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t start = before.rfind('\n') + 1; // npos + 1 is 0
    return fmt::format("line {}, column {}", line, before.size() - start + 1);
}

// JSON that says one thing only: a repeated key is an error, not a matter of which one wins.
Json ParseText(std::string_view text, const std::string& file) {
    struct Level {
        std::set<std::string> keys;
        std::string current;
    };
    std::vector<Level> levels; // the objects around the place that is being read
    const auto watch = [&](int depth, Json::parse_event_t event, Json& parsed) {
        if (std::size_t(depth) > kDeepestNesting) {
            throw MachineFileError(file, "/", "is nested too deeply");
        }
        if (event == Json::parse_event_t::object_start) {
            levels.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            levels.pop_back();
        } else if (event == Json::parse_event_t::key) {
            levels.back().current = parsed.get<std::string>();
            if (!levels.back().keys.insert(levels.back().current).second) {
                std::string place;
                for (const Level& level : levels) {
                    place = PointerStep(place, level.current);
                }
                throw MachineFileError(file, place, "the key occurs twice");
            }
        }
        return true;
    };
    try {
        return Json::parse(text.begin(), text.end(), watch);
    } catch (const Json::parse_error& error) {
        std::string reason = error.what();
        // "[json.exception...] parse error at line L, column C: syntax error while ...: ..."
        if (const std::size_t colon = reason.find(": "); colon != std::string::npos) {
            reason = reason.substr(colon + 2);
        }
        throw MachineFileError(file, LineAndColumn(text, error.byte == 0 ? 0 : error.byte - 1),
                               Excerpt(reason, kMostOfReason));
    }
}

Json ParseFile(std::string_view text, const std::string& file) {
    Json root = ParseText(text, file);
    if (!root.is_object()) {
        throw MachineFileError(file, "/", "a machine file is a JSON object");
    }
    CheckMachineFile(file, root);
    return root;
}

// The text of a file. `extender` is the file that extends it, empty when the user named it: whoever
// names a file that cannot be read is told.
std::string ReadFile(const fs::path& path, const std::string& file, const std::string& extender) {
    const auto fail = [&](const std::string& reason) {
        if (extender.empty()) {
            throw MachineFileError(file, "", reason);
        }
        throw MachineFileError(extender, "/extends", fmt::format("{}: {}", file, reason));
    };
    std::error_code error;
    if (fs::is_directory(path, error)) {
        fail("is a directory, not a machine file");
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    if (!stream) {
        fail(std::strerror(errno));
    }
    text << stream.rdbuf(); // an empty file is bad JSON, not an error of reading
    if (stream.bad()) {
        fail("cannot be read");
    }
    return text.str();
}

// The built-in machine extends nothing, whatever it says.
const Json& BuiltInMachine() {
    static const Json machine = [] {
        Json root = ParseFile(kDefaultMachineText, std::string(kDefaultName));
        root.erase("extends");
        root.erase("$schema");
        return root;
    }();
    return machine;
}

Json LoadByName(const std::string& name, const fs::path& folder, const std::string& extender,
                std::vector<fs::path>& chain);

// `root` over the machine that it extends. `folder` is where relative names begin; `chain` holds
// the files that lead here.
Json Extended(Json root, const std::string& file, const fs::path* folder,
              std::vector<fs::path>& chain) {
    const std::string base = root.value("extends", std::string(kDefaultName));
    root.erase("extends");
    root.erase("$schema");
    Json merged = Json::object();
    if (base == kDefaultName) {
        merged = BuiltInMachine();
    } else if (base != kEmptyName) {
        if (folder == nullptr) {
            throw MachineFileError(file, "/extends",
                                   "a machine that is not a file extends \"default\" or \"empty\"");
        }
        merged = LoadByName(base, *folder, file, chain);
    }
    merged.merge_patch(root);
    return merged;
}

Json LoadByName(const std::string& name, const fs::path& folder, const std::string& extender,
                std::vector<fs::path>& chain) {
    const fs::path path = folder / name; // an absolute name stands for itself
    const std::string file = chain.empty() ? name : path.lexically_normal().string();
    std::error_code error;
    const fs::path identity = fs::weakly_canonical(path, error);
    if (std::find(chain.begin(), chain.end(), identity) != chain.end()) {
        throw MachineFileError(file, "/extends", "the file extends itself by way of others");
    }
    chain.push_back(identity);
    const fs::path next = path.parent_path();
    return Extended(ParseFile(ReadFile(path, file, extender), file), file, &next, chain);
}

} // namespace

MachineDescription LoadMachine(const std::string& name) {
    MachineDescription machine;
    machine.file = name.empty() ? std::string(kDefaultName) : name;
    std::vector<fs::path> chain;
    machine.root = machine.file == kDefaultName
                       ? Extended(Json::object(), machine.file, nullptr, chain)
                       : LoadByName(machine.file, fs::path(), "", chain);
    CheckMachine(machine);
    return machine;
}

MachineDescription ParseMachine(std::string_view text, const std::string& fileName) {
    MachineDescription machine;
    machine.file = fileName;
    std::vector<fs::path> chain;
    machine.root = Extended(ParseFile(text, fileName), fileName, nullptr, chain);
    CheckMachine(machine);
    return machine;
}

Json ParseKeys(std::string_view text, const std::string& fileName) {
    Json root = ParseText(text, fileName);
    if (!root.is_array()) {
        throw MachineFileError(fileName, "/", "keys are a JSON array");
    }
    Json machine = {{"keys", std::move(root)}};
    CheckMachineFile(fileName, machine);
    return machine["keys"];
}

Json LoadKeys(const std::string& fileName) {
    std::error_code error;
    if (fs::is_directory(fileName, error)) {
        throw MachineFileError(fileName, "", "is a directory, not a list of keys");
    }
    return ParseKeys(ReadFile(fileName, fileName, ""), fileName);
}

} // namespace sim
