#include "report/event_files.h"

#include <cstdio>
#include <new>
#include <optional>
#include <string>

#include "platform/fs.h"

json::Ptr EventMember::take() {
    if (!member || !document) return nullptr;
    cJSON* item = cJSON_DetachItemViaPointer(document.get(), member);
    member = nullptr;
    return json::Ptr(item);
}

namespace {

// The messages a reader prints for each way reading its file can fail.
struct ReadMessages {
    const char* open_failed;  // %s: path
    const char* stat_failed;  // %s: path
    const char* no_memory;    // %s: path (may not use it)
    const char* short_read;   // %s: path; null when not checked
    bool no_memory_is_line;   // printed with puts
};

// Opens, sizes and reads `path` as the router does: the text is the file's first
// `size` bytes. Nothing (after the message) when any step fails.
std::optional<std::string> read_event_file(const char* path, const ReadMessages& m) {
    std::optional<std::string> content;
    try {
        content = platform::read_file(path);
    } catch (const std::bad_alloc&) {
        if (m.no_memory_is_line)
            std::puts(m.no_memory);
        else
            std::printf(m.no_memory, path);
        return std::nullopt;
    }
    if (!content) {
        std::printf(m.open_failed, path);
        return std::nullopt;
    }
    std::optional<uint64_t> size = platform::file_size(path);
    if (!size) {
        std::printf(m.stat_failed, path);
        return std::nullopt;
    }
    if (content->size() < *size) {
        if (m.short_read) std::printf(m.short_read, path);
    } else {
        content->resize(*size);
    }
    return content;
}

}  // namespace

EventMember read_wifi_event_member() {
    static constexpr ReadMessages kMessages{"Failed to open %s!\n", "stat %s failed!\n",
                                            "Unable to allocate memory to read %s!\n",
                                            "Failed to read %s!\n", false};
    EventMember result;
    std::optional<std::string> text = read_event_file(kWifiEventFile, kMessages);
    if (!text) return result;
    std::string error_before;
    result.document = json::parse(*text, &error_before);
    if (!result.document) {
        std::printf("Invalid JSON string in %s: %s\n", kWifiEventFile, error_before.c_str());
        return result;
    }
    result.member = result.document->child;
    return result;
}

EventMember read_dal_event_member(int which) {
    static constexpr ReadMessages kMessages{"Failed to open %s! \n", "stat %s failed!\n",
                                            "Unable to allocate memory to read DRI file!", nullptr,
                                            true};
    EventMember result;
    std::optional<std::string> text = read_event_file(kDalEventFile, kMessages);
    if (!text) return result;
    std::string error_before;
    json::Ptr doc = json::parse(*text, &error_before);
    if (!doc) {
        std::printf("Not %s valid JSON string, Error before: [%s]\n", kDalEventFile,
                    error_before.c_str());
        return result;
    }
    cJSON* first = doc->child;
    if (!first) {
        std::puts("JSON format error: No child node found.");
        return result;
    }
    cJSON* second = first->next;
    if (!second) {
        std::puts("JSON format error: No second child node found.");
        return result;
    }
    result.member = which == 1 ? first : which == 2 ? second : nullptr;
    result.document = std::move(doc);
    return result;
}
