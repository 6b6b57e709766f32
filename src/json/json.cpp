#include "json/json.h"

#include <cstdio>
#include <cstring>

namespace json {

Ptr object() {
    return Ptr(cJSON_CreateObject());
}
Ptr array() {
    return Ptr(cJSON_CreateArray());
}
Ptr string(std::string_view value) {
    return Ptr(cJSON_CreateString(std::string(value).c_str()));
}
Ptr number(double value) {
    return Ptr(cJSON_CreateNumber(value));
}
Ptr boolean(bool value) {
    return Ptr(cJSON_CreateBool(value ? 1 : 0));
}
Ptr int_array(std::span<const int> values) {
    return Ptr(cJSON_CreateIntArray(values.data(), static_cast<int>(values.size())));
}

namespace {

// True when `parent` already holds a child named `name` (both must carry a name).
bool has_named_child(const cJSON* parent, const char* name) {
    if (!name) return false;
    for (const cJSON* c = parent->child; c; c = c->next)
        if (c->string && std::strcmp(c->string, name) == 0) return true;
    return false;
}

void warn_duplicate(const char* name) {
    std::printf("\n[RA format warning] warning duplicate attribute name = %s   \n", name);
}

}  // namespace

void add(cJSON* parent, const char* name, Ptr item) {
    if (!parent || !item) return;
    if (has_named_child(parent, name)) {
        warn_duplicate(name);
        return;  // `item` is freed here
    }
    // cJSON refuses an unnamed member and then leaves the item with us: free it.
    if (cJSON_AddItemToObject(parent, name, item.get())) item.release();
}

void add(const Ptr& parent, const char* name, Ptr item) {
    add(parent.get(), name, std::move(item));
}

void add_to_array(cJSON* array, Ptr item) {
    if (!array || !item) return;
    if (item->string && has_named_child(array, item->string)) {
        warn_duplicate(item->string);
        return;
    }
    if (cJSON_AddItemToArray(array, item.get())) item.release();
}

void add_reference(cJSON* parent, const char* name, cJSON* item) {
    if (!parent || !item) return;
    if (has_named_child(parent, name)) {
        warn_duplicate(name);
        return;
    }
    // Made as cJSON_AddItemReferenceToObject makes it (a shallow copy flagged as a
    // reference, so deleting it leaves `item` and its children alone), but here, so that
    // the copy can be freed when the add fails: the library's own call loses it when the
    // member name cannot be allocated.
    Ptr ref(cJSON_CreateNull());
    if (!ref) return;
    *ref = *item;
    ref->next = nullptr;
    ref->prev = nullptr;
    ref->string = nullptr;
    ref->type = (item->type | cJSON_IsReference) & ~cJSON_StringIsConst;
    if (cJSON_AddItemToObject(parent, name, ref.get())) ref.release();
}

void add_string(cJSON* parent, const char* name, std::string_view value) {
    add(parent, name, string(value));
}

void add_number(cJSON* parent, const char* name, double value) {
    add(parent, name, number(value));
}

void report_no_memory() {
    std::puts("Not enough memory!");
}

Text print(const cJSON* item) {
    return Text(item ? cJSON_Print(item) : nullptr);
}

std::string print_string(const cJSON* item) {
    Text t = print(item);
    return t ? std::string(t.get()) : std::string();
}

std::string print_compact(const cJSON* item) {
    Text t(item ? cJSON_PrintUnformatted(item) : nullptr);
    return t ? std::string(t.get()) : std::string();
}

Ptr parse(std::string_view text, std::string* error_before) {
    std::string copy(text);
    const char* end = nullptr;
    Ptr root(cJSON_ParseWithOpts(copy.c_str(), &end, 0));
    if (!root && error_before) *error_before = end ? std::string(end) : std::string();
    return root;
}

cJSON* get(const cJSON* object, const char* name) {
    return object ? cJSON_GetObjectItem(object, name) : nullptr;
}

const char* get_string(const cJSON* object, const char* name) {
    cJSON* item = get(object, name);
    return cJSON_IsString(item) && item->valuestring ? item->valuestring : nullptr;
}

}  // namespace json
