#include "platform/uci_file.h"

#include <charconv>

namespace platform {

const UciOption* UciSection::find(std::string_view option) const {
    for (const auto& o : options)
        if (o.name == option) return &o;
    return nullptr;
}

UciOption* UciSection::find(std::string_view option) {
    for (auto& o : options)
        if (o.name == option) return &o;
    return nullptr;
}

namespace {

// "@type[index]" addressing of anonymous (or any) sections by type and position.
std::optional<size_t> find_by_type_index(const std::vector<UciSection>& sections,
                                         std::string_view ref) {
    if (ref.size() < 4 || ref.front() != '@' || ref.back() != ']') return std::nullopt;
    size_t open = ref.find('[');
    if (open == std::string_view::npos) return std::nullopt;
    std::string_view type = ref.substr(1, open - 1);
    std::string_view idx_text = ref.substr(open + 1, ref.size() - open - 2);
    int idx = 0;
    auto [p, ec] = std::from_chars(idx_text.data(), idx_text.data() + idx_text.size(), idx);
    if (ec != std::errc() || p != idx_text.data() + idx_text.size()) return std::nullopt;
    std::vector<size_t> matches;
    for (size_t i = 0; i < sections.size(); ++i)
        if (sections[i].type == type) matches.push_back(i);
    if (idx < 0) idx += static_cast<int>(matches.size());
    if (idx < 0 || static_cast<size_t>(idx) >= matches.size()) return std::nullopt;
    return matches[static_cast<size_t>(idx)];
}

bool valid_name(std::string_view name) {
    if (name.empty()) return false;
    for (char c : name) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '_' || c == '-';
        if (!ok) return false;
    }
    return true;
}

}  // namespace

void UciPackage::reindex() {
    by_name_.clear();
    for (size_t i = 0; i < sections_.size(); ++i)
        if (!sections_[i].name.empty()) by_name_[sections_[i].name] = i;
}

const UciSection* UciPackage::section(std::string_view ref) const {
    if (!ref.empty() && ref.front() == '@') {
        auto i = find_by_type_index(sections_, ref);
        return i ? &sections_[*i] : nullptr;
    }
    auto it = by_name_.find(std::string(ref));
    return it == by_name_.end() ? nullptr : &sections_[it->second];
}

UciSection* UciPackage::section(std::string_view ref) {
    return const_cast<UciSection*>(static_cast<const UciPackage*>(this)->section(ref));
}

UciSection& UciPackage::add_section(std::string type, std::string name) {
    if (!name.empty()) {
        if (auto* s = section(name)) {
            // A repeated named section merges into the first, as uci does.
            s->type = std::move(type);
            return *s;
        }
        by_name_[name] = sections_.size();
    }
    sections_.push_back(UciSection{std::move(type), std::move(name), {}});
    return sections_.back();
}

bool UciPackage::remove_section(std::string_view ref) {
    const UciSection* s = section(ref);
    if (!s) return false;
    sections_.erase(sections_.begin() + (s - sections_.data()));
    reindex();
    return true;
}

std::optional<std::string> UciPackage::get(std::string_view path) const {
    size_t dot = path.find('.');
    const UciSection* s = section(path.substr(0, dot));
    if (!s) return std::nullopt;
    if (dot == std::string_view::npos) return s->type;
    const UciOption* o = s->find(path.substr(dot + 1));
    if (!o) return std::nullopt;
    std::string joined;
    for (size_t i = 0; i < o->values.size(); ++i) {
        if (i) joined += ' ';
        joined += o->values[i];
    }
    return joined;
}

bool UciPackage::set(std::string_view path, std::string_view value) {
    size_t dot = path.find('.');
    if (dot == std::string_view::npos) {
        if (!valid_name(path) || !valid_name(value)) return false;
        add_section(std::string(value), std::string(path));
        return true;
    }
    UciSection* s = section(path.substr(0, dot));
    std::string_view opt = path.substr(dot + 1);
    if (!s || !valid_name(opt)) return false;
    if (UciOption* o = s->find(opt)) {
        o->is_list = false;
        o->values.assign(1, std::string(value));
    } else {
        s->options.push_back(UciOption{std::string(opt), false, {std::string(value)}});
    }
    return true;
}

bool UciPackage::add_list(std::string_view path, std::string_view value) {
    size_t dot = path.find('.');
    if (dot == std::string_view::npos) return false;
    UciSection* s = section(path.substr(0, dot));
    std::string_view opt = path.substr(dot + 1);
    if (!s || !valid_name(opt)) return false;
    UciOption* o = s->find(opt);
    if (!o) {
        s->options.push_back(UciOption{std::string(opt), true, {}});
        o = &s->options.back();
    }
    if (!o->is_list) {
        o->is_list = true;
    }
    o->values.emplace_back(value);
    return true;
}

namespace {

// Splits one line of UCI text into words, honouring single quotes, double quotes with
// backslash escapes, backslash escapes outside quotes, and '#' comments.
bool tokenize(std::string_view line, std::vector<std::string>& words, std::string& why) {
    words.clear();
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
        if (i >= line.size() || line[i] == '#') break;
        std::string word;
        bool in_word = true;
        while (in_word && i < line.size()) {
            char c = line[i];
            if (c == '\'') {
                size_t end = line.find('\'', i + 1);
                if (end == std::string_view::npos) {
                    why = "unterminated quote";
                    return false;
                }
                word.append(line.substr(i + 1, end - i - 1));
                i = end + 1;
            } else if (c == '"') {
                ++i;
                bool closed = false;
                while (i < line.size()) {
                    if (line[i] == '\\' && i + 1 < line.size()) {
                        word += line[i + 1];
                        i += 2;
                    } else if (line[i] == '"') {
                        closed = true;
                        ++i;
                        break;
                    } else {
                        word += line[i++];
                    }
                }
                if (!closed) {
                    why = "unterminated quote";
                    return false;
                }
            } else if (c == '\\' && i + 1 < line.size()) {
                word += line[i + 1];
                i += 2;
            } else if (c == ' ' || c == '\t' || c == '\r') {
                in_word = false;
            } else if (c == '#') {
                in_word = false;
            } else {
                word += c;
                ++i;
            }
        }
        words.push_back(std::move(word));
    }
    return true;
}

}  // namespace

std::optional<UciPackage> parse_uci(std::string_view text, std::string package_name,
                                    std::string* error) {
    UciPackage pkg;
    pkg.name = std::move(package_name);
    UciSection* current = nullptr;
    std::vector<std::string> words;
    std::string why;
    size_t line_no = 0;
    auto fail = [&](const std::string& msg) -> std::optional<UciPackage> {
        if (error) *error = "line " + std::to_string(line_no) + ": " + msg;
        return std::nullopt;
    };
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t nl = text.find('\n', pos);
        std::string_view line =
            text.substr(pos, nl == std::string_view::npos ? std::string_view::npos : nl - pos);
        pos = nl == std::string_view::npos ? text.size() + 1 : nl + 1;
        ++line_no;
        if (!tokenize(line, words, why)) return fail(why);
        if (words.empty()) continue;
        const std::string& kw = words[0];
        if (kw == "package") {
            if (words.size() != 2) return fail("bad package line");
        } else if (kw == "config") {
            if (words.size() < 2 || words.size() > 3 || !valid_name(words[1]))
                return fail("bad config line");
            std::string name = words.size() == 3 ? words[2] : std::string();
            if (!name.empty() && !valid_name(name)) return fail("bad section name");
            current = &pkg.add_section(words[1], name);
        } else if (kw == "option" || kw == "list") {
            if (!current) return fail("option outside a section");
            if (words.size() != 3 || !valid_name(words[1])) return fail("bad option line");
            if (kw == "option") {
                if (UciOption* o = current->find(words[1])) {
                    o->is_list = false;
                    o->values.assign(1, words[2]);
                } else {
                    current->options.push_back(UciOption{words[1], false, {words[2]}});
                }
            } else {
                UciOption* o = current->find(words[1]);
                if (!o) {
                    current->options.push_back(UciOption{words[1], true, {}});
                    o = &current->options.back();
                }
                o->is_list = true;
                o->values.push_back(words[2]);
            }
        } else {
            return fail("unknown keyword '" + kw + "'");
        }
    }
    return pkg;
}

std::string uci_quote(std::string_view value) {
    std::string out = "'";
    for (char c : value) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    out += '\'';
    return out;
}

std::string render_uci(const UciPackage& pkg) {
    std::string out;
    for (const auto& s : pkg.sections()) {
        out += "\nconfig " + s.type;
        if (!s.name.empty()) out += " " + uci_quote(s.name);
        out += '\n';
        for (const auto& o : s.options) {
            for (const auto& v : o.values)
                out += std::string("\t") + (o.is_list ? "list " : "option ") + o.name + " " +
                       uci_quote(v) + "\n";
        }
    }
    if (!out.empty()) out += '\n';
    return out;
}

}  // namespace platform
