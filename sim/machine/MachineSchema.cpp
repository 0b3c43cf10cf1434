#include "sim/machine/MachineSchema.h"

#include "sim/machine/Embedded.h"
#include "sim/machine/KeyNames.h"

#include <fmt/format.h>
#include <memory>
#include <regex>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

namespace sim {

namespace {

constexpr std::size_t kMostOfReason = 200; // characters of a reason that is not ours

using Context = std::vector<std::string>; // keys and indices on the way to a place

const Json& SchemaText() {
    static const Json text = Json::parse(kMachineSchemaText);
    return text;
}

const valijson::Schema& CompiledSchema() {
    static const auto compiled = [] {
        auto schema = std::make_unique<valijson::Schema>();
        const nlohmann::json text = SchemaText();
        valijson::SchemaParser(valijson::SchemaParser::kDraft7)
            .populateSchema(valijson::adapters::NlohmannJsonAdapter(text), *schema);
        return schema;
    }();
    return *compiled;
}

const Json* Resolved(const Json* schema) {
    while (schema != nullptr && schema->contains("$ref")) {
        const auto& reference = (*schema)["$ref"].get_ref<const std::string&>();
        schema = &SchemaText().at(Json::json_pointer(reference.substr(1)));
    }
    return schema;
}

// What the schema says about a member or element; nullptr when it does not allow one.
const Json* Member(const Json* schema, const std::string& key) {
    for (const char* group : {"properties", "items", "additionalProperties"}) {
        if (!schema->contains(group)) {
            continue;
        }
        const Json& found = (*schema)[group];
        if (group == std::string_view("properties")) {
            if (found.contains(key)) {
                return Resolved(&found[key]);
            }
        } else if (found.is_object()) {
            return Resolved(&found);
        }
    }
    return nullptr;
}

std::string Description(const Json& schema) {
    return schema.contains("description") ? schema["description"].get<std::string>()
                                          : "what this place takes";
}

std::string Shown(const Json& value) {
    return Excerpt(TraceLine(value));
}

// Walks a file together with the schema and looks at what the schema language cannot say: names of
// keys with a reason, marked strings ("x-check"), and members that are null, which it leaves out of
// the copy that is then validated.
class Walk {
public:
    explicit Walk(const std::string& file) { machine_.file = file; }

    Json Copy(const Json* schema, const Json& value, const std::string& place, bool inArray) {
        if (value.is_object()) {
            return CopyObject(schema, value, place, inArray);
        }
        if (value.is_array()) {
            Json copy = Json::array();
            for (std::size_t i = 0; i < value.size(); i++) {
                const std::string index = std::to_string(i);
                const Json* element = schema != nullptr ? Member(schema, index) : nullptr;
                copy.push_back(Copy(element, value[i], PointerStep(place, index), true));
            }
            return copy;
        }
        if (schema != nullptr && schema->contains("x-check")) {
            CheckMarked((*schema)["x-check"].get<std::string>(), value, place);
        }
        return value;
    }

private:
    Json CopyObject(const Json* schema, const Json& value, const std::string& place, bool inArray) {
        Json copy = Json::object();
        const Json* names = nullptr; // what the keys must look like
        std::regex namePattern;
        if (schema != nullptr && schema->contains("propertyNames")) {
            names = Resolved(&(*schema)["propertyNames"]);
            namePattern = std::regex((*names)["pattern"].get<std::string>());
        }
        for (const auto& [key, member] : value.items()) {
            const std::string at = PointerStep(place, key);
            if (names != nullptr && !std::regex_search(key, namePattern)) {
                Fail(at, fmt::format("the key is not {}", Description(*names)));
            }
            const Json* known = schema != nullptr ? Member(schema, key) : nullptr;
            if (member.is_null() && !inArray) {
                if (known == nullptr) {
                    Fail(at, "unknown key");
                }
                continue; // removes the key of the machine below
            }
            copy[key] = Copy(known, member, at, inArray);
        }
        return copy;
    }

    void CheckMarked(const std::string& check, const Json& value, const std::string& place) {
        if (check == "status") {
            if (value.is_string()) {
                ReadStatus(machine_, value, place);
            }
            return;
        }
        if (!value.is_string()) {
            return; // the schema itself says what is wrong
        }
        if (check == "hex") {
            ReadHex(machine_, value, place);
        } else if (check == "ucs2") {
            ReadText(machine_, value, place);
        } else if (check == "device-path") {
            ReadDevicePath(machine_, value, place);
        } else if (check == "key" && !KeyFromName(value.get<std::string>())) {
            Fail(place, fmt::format("there is no key {}", Shown(value)));
        }
    }

    [[noreturn]] void Fail(const std::string& place, const std::string& reason) {
        throw MachineFileError(machine_.file, place, reason);
    }

    MachineDescription machine_; // for the readers: just the file's name
};

std::string Types(const Json& type) {
    std::vector<std::string> names;
    for (const Json& name : type.is_array() ? type : Json::array({type})) {
        const auto& text = name.get_ref<const std::string&>();
        const bool vowel = text.find_first_of("aeio") == 0;
        names.push_back((vowel ? "an " : "a ") + text);
    }
    return fmt::format("{}", fmt::join(names, " or "));
}

// The reason in our words; `description` is the validator's.
std::string Reason(const Json* schema, const Json& value, const std::string& description) {
    const auto is = [&](std::string_view text) {
        return description.find(text) != std::string::npos;
    };
    if (schema != nullptr) {
        if (is("'type'") && schema->contains("type")) {
            return fmt::format("must be {}, is {}", Types((*schema)["type"]), Shown(value));
        }
        if (is("enum") && schema->contains("enum")) {
            return fmt::format("must be one of {}, is {}", Shown((*schema)["enum"]), Shown(value));
        }
        if (is("'pattern'") || is("'not'")) {
            return fmt::format("{} is not {}", Shown(value), Description(*schema));
        }
        if (is("Expected number") && schema->contains("maximum")) {
            return fmt::format("must be from {} to {}, is {}", Shown((*schema)["minimum"]),
                               Shown((*schema)["maximum"]), Shown(value));
        }
    }
    if (const std::string_view missing = "Missing required property '"; is(missing)) {
        const std::size_t start = description.find(missing) + missing.size();
        return fmt::format("the key \"{}\" is missing",
                           description.substr(start, description.find('\'', start) - start));
    }
    return Excerpt(description, kMostOfReason);
}

// Undoes the validator's notation: "<root>", "[\"key\"]", "[3]".
Context Steps(const std::vector<std::string>& context) {
    Context steps;
    for (const std::string& entry : context) {
        if (entry.starts_with("[\"")) {
            steps.push_back(entry.substr(2, entry.size() - 4));
        } else if (entry.starts_with("[")) {
            steps.push_back(entry.substr(1, entry.size() - 2));
        }
    }
    return steps;
}

[[noreturn]] void Report(const std::string& file, const Json& root,
                         valijson::ValidationResults& results) {
    Context deepest;
    std::string description = "the file does not fit the schema";
    bool first = true;
    for (valijson::ValidationResults::Error error; results.popError(error);) {
        Context steps = Steps(error.context);
        // The validator repeats an error at every level above the one that it belongs to.
        if (first || steps.size() > deepest.size()) {
            deepest = std::move(steps);
            description = error.description;
            first = false;
        }
    }
    const Json* schema = &SchemaText();
    const Json* value = &root;
    std::string place;
    for (const std::string& step : deepest) {
        schema = schema != nullptr ? Member(schema, step) : nullptr;
        value = value->is_array() ? &(*value)[std::stoul(step)] : &value->at(step);
        place = PointerStep(place, step);
    }
    constexpr std::string_view unknown = "Object contains a property";
    if (description.starts_with(unknown)) {
        const std::size_t end = description.rfind('\'');
        const std::size_t start = description.rfind('\'', end - 1) + 1;
        throw MachineFileError(file, PointerStep(place, description.substr(start, end - start)),
                               "unknown key");
    }
    throw MachineFileError(file, place.empty() ? "/" : place, Reason(schema, *value, description));
}

} // namespace

std::string PointerStep(std::string_view pointer, std::string_view key) {
    std::string step(pointer);
    step += '/';
    for (char c : key) {
        if (c == '~') {
            step += "~0";
        } else if (c == '/') {
            step += "~1";
        } else {
            step += c;
        }
    }
    return step;
}

void CheckMachineFile(const std::string& file, Json& root) {
    const Json copy = Walk(file).Copy(&SchemaText(), root, "", false);
    const nlohmann::json plain = copy;
    valijson::Validator validator(valijson::Validator::kStrongTypes);
    valijson::ValidationResults results;
    if (!validator.validate(CompiledSchema(), valijson::adapters::NlohmannJsonAdapter(plain),
                            &results)) {
        Report(file, copy, results);
    }
    MakeKeysCanonical(file, root);
}

} // namespace sim
