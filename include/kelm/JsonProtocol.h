// The JSON service: parses a text into a tree of values, lets a caller walk it, and builds small
// texts. A parsed tree and everything reached from it belong to its root, which json_value_free
// releases; names and strings handed out live as long as the root. All texts are ASCII or UTF-8,
// NUL-terminated. No member takes the protocol itself, and every member accepts a null pointer and
// answers with null or 0.
#pragma once

#include "uefi/Base.h"

// {462C5BBA-2F3D-4BDD-BC37-6A1AED3DDE79}
inline constexpr EFI_GUID gJsonParserProtocolGuid = {
    0x462C5BBA, 0x2F3D, 0x4BDD, {0xBC, 0x37, 0x6A, 0x1A, 0xED, 0x3D, 0xDE, 0x79}};

struct JsonValue;
struct JsonObject;
struct JsonArray;

// Types of a value, as far as BDS tells them apart.
inline constexpr INT32 kJsonTypeError = -1; // null pointer
inline constexpr INT32 kJsonTypeNull = 1;
inline constexpr INT32 kJsonTypeString = 2;
inline constexpr INT32 kJsonTypeNumber = 3;
inline constexpr INT32 kJsonTypeObject = 4;
inline constexpr INT32 kJsonTypeArray = 5;
inline constexpr INT32 kJsonTypeBoolean = 6;

struct KelmJsonProtocol {
    // A new tree, or null when the text is not JSON or memory runs out.
    JsonValue*(EFIAPI* json_parse_string)(const CHAR8* text);
    // One of the types above.
    INT32(EFIAPI* json_value_type)(const JsonValue* value);
    // The value as an object, an array, a string or a number; null or 0 when it is something else.
    // A number is cut towards zero.
    JsonObject*(EFIAPI* json_value_object)(const JsonValue* value);
    JsonArray*(EFIAPI* json_value_array)(const JsonValue* value);
    const CHAR8*(EFIAPI* json_value_string)(const JsonValue* value);
    INT64(EFIAPI* json_value_number)(const JsonValue* value);
    // Members of an object: their count, the name of the n-th (from 0), a value by name.
    UINTN(EFIAPI* json_object_count)(const JsonObject* object);
    const CHAR8*(EFIAPI* json_object_name)(const JsonObject* object, UINTN index);
    JsonValue*(EFIAPI* json_object_value)(const JsonObject* object, const CHAR8* name);
    // Elements of an array.
    UINTN(EFIAPI* json_array_count)(const JsonArray* array);
    JsonValue*(EFIAPI* json_array_value)(const JsonArray* array, UINTN index);
    // A new tree whose root is an empty object, or null.
    JsonValue*(EFIAPI* json_value_init_object)();
    // Sets a string member of an object; name and value are copied.
    EFI_STATUS(EFIAPI* json_object_set_string)
    (JsonObject* object, const CHAR8* name, const CHAR8* value);
    // The tree as text in new pool memory that the caller frees, or null.
    CHAR8*(EFIAPI* json_serialize_to_string)(const JsonValue* value);
    // Releases a tree by its root.
    void(EFIAPI* json_value_free)(JsonValue* value);
};
static_assert(sizeof(KelmJsonProtocol) == 15 * sizeof(void*));

template <>
struct ProtocolGuid<KelmJsonProtocol> {
    static constexpr const EFI_GUID& value = gJsonParserProtocolGuid;
};
