// The JSON rules every report builder follows, over cJSON:
//  - trees are owned through json::Ptr and freed by it;
//  - add()/add_to_array() refuse a member whose name is already present in the
//    parent (exact byte comparison), print the format warning, free the new item and
//    keep the existing one; a null item is ignored;
//  - lookups when reading outside JSON are case-insensitive (ASCII letters).
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace json {

struct Deleter {
    void operator()(cJSON* item) const { cJSON_Delete(item); }
};
using Ptr = std::unique_ptr<cJSON, Deleter>;

struct TextDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};
using Text = std::unique_ptr<char, TextDeleter>;

Ptr object();
Ptr array();
Ptr string(std::string_view value);
Ptr number(double value);
Ptr boolean(bool value);
Ptr int_array(std::span<const int> values);

// Adds `item` to `parent` under `name` with the duplicate-member rule. Does nothing
// when `item` or `parent` is null; an item that cannot be added is freed.
void add(cJSON* parent, const char* name, Ptr item);
void add(const Ptr& parent, const char* name, Ptr item);
// Appends `item` to `array` with the same rule for named items.
void add_to_array(cJSON* array, Ptr item);
// Adds a reference to `item` under `name` with the duplicate-member rule: `parent`
// then shows `item` (and its children) without owning it, so `item` must outlive
// `parent`. Deleting `parent` frees only the reference.
void add_reference(cJSON* parent, const char* name, cJSON* item);

// Shorthand for the common members.
void add_string(cJSON* parent, const char* name, std::string_view value);
void add_number(cJSON* parent, const char* name, double value);

// Prints "Not enough memory!" as every builder does when a tree cannot be made.
void report_no_memory();

// cJSON_Print (formatted) / cJSON_PrintUnformatted.
Text print(const cJSON* item);
std::string print_string(const cJSON* item);
std::string print_compact(const cJSON* item);

// Parses `text`; on failure returns null and, when given, the text at the parser's
// error position.
Ptr parse(std::string_view text, std::string* error_before = nullptr);

// Case-insensitive member lookup.
cJSON* get(const cJSON* object, const char* name);
// A member's text when it is a string, else nothing (null pointer).
const char* get_string(const cJSON* object, const char* name);

}  // namespace json
