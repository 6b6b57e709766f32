#include "platform/uci_file.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace platform {

UciValues::UciValues(const UciValues& other)
    : first_(other.first_),
      has_first_(other.has_first_),
      rest_(other.rest_ ? std::make_unique<std::vector<std::string>>(*other.rest_) : nullptr) {}

UciValues& UciValues::operator=(const UciValues& other) {
    if (this != &other) *this = UciValues(other);
    return *this;
}

const std::string& UciValues::at(size_t i) const {
    if (i >= size()) throw std::out_of_range("UciValues::at");
    return (*this)[i];
}

void UciValues::assign_one(std::string value) {
    first_ = std::move(value);
    has_first_ = true;
    rest_.reset();
}

void UciValues::push_back(std::string value) {
    if (!has_first_) {
        assign_one(std::move(value));
        return;
    }
    if (!rest_) rest_ = std::make_unique<std::vector<std::string>>();
    rest_->push_back(std::move(value));
}

const UciOption* UciSection::find(std::string_view option) const {
    if (index_.empty()) {
        for (const UciOption& o : options_)
            if (o.name == option) return &o;
        return nullptr;
    }
    auto it = index_.find(std::string(option));
    return it == index_.end() ? nullptr : &options_[it->second];
}

UciOption* UciSection::find(std::string_view option) {
    return const_cast<UciOption*>(static_cast<const UciSection*>(this)->find(option));
}

UciOption& UciSection::option(std::string_view option) {
    if (UciOption* o = find(option)) return *o;
    options_.push_back(UciOption{std::string(option), false, {}});
    if (!index_.empty()) {
        index_.emplace(options_.back().name, options_.size() - 1);
    } else if (options_.size() == kIndexFrom) {
        for (size_t i = 0; i < options_.size(); ++i) index_.emplace(options_[i].name, i);
    }
    return options_.back();
}

bool UciSection::remove(std::string_view option) {
    const UciOption* o = find(option);
    if (!o) return false;
    const size_t at = static_cast<size_t>(o - options_.data());
    options_.erase(options_.begin() + static_cast<std::ptrdiff_t>(at));
    if (!index_.empty()) {
        index_.erase(std::string(option));
        for (auto& [n, i] : index_)
            if (i > at) --i;
    }
    return true;
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
    sections_.emplace_back(std::move(type), std::move(name));
    return sections_.back();
}

bool UciPackage::remove_section(std::string_view ref) {
    const UciSection* s = section(ref);
    if (!s) return false;
    sections_.erase(sections_.begin() + (s - sections_.data()));
    reindex();
    return true;
}

void UciPackage::shrink_to_fit() {
    sections_.shrink_to_fit();
    for (UciSection& s : sections_) s.shrink_to_fit();
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
    UciOption& o = s->option(opt);
    o.is_list = false;
    o.values.assign_one(std::string(value));
    return true;
}

bool UciPackage::add_list(std::string_view path, std::string_view value) {
    size_t dot = path.find('.');
    if (dot == std::string_view::npos) return false;
    UciSection* s = section(path.substr(0, dot));
    std::string_view opt = path.substr(dot + 1);
    if (!s || !valid_name(opt)) return false;
    UciOption& o = s->option(opt);
    o.is_list = true;  // a plain option becomes a list keeping its value, as uci does
    o.values.push_back(std::string(value));
    return true;
}

namespace {

// Splits UCI text into statements of words, honouring single quotes, double quotes
// with backslash escapes, backslash escapes outside quotes (a backslash before the
// line break continues the statement), and '#' comments. Quoted text may span lines.
class Lexer {
  public:
    explicit Lexer(std::string_view text) : text_(text) {}

    // The next statement's words (empty for a blank or comment line). False at the end
    // of the text or on an error (then `why` is set).
    bool next(std::vector<std::string>& words, std::string& why) {
        words.clear();
        if (i_ >= text_.size()) return false;
        line_ = next_line_;
        while (i_ < text_.size()) {
            char c = text_[i_];
            if (c == '\n') {
                ++i_;
                ++next_line_;
                return true;
            }
            if (c == ' ' || c == '\t' || c == '\r') {
                ++i_;
                continue;
            }
            if (c == '#') {
                skip_comment();
                continue;
            }
            std::string word;
            if (!read_word(word, why)) return false;
            words.push_back(std::move(word));
        }
        return true;
    }
    size_t line() const { return line_; }

  private:
    void skip_comment() {
        while (i_ < text_.size() && text_[i_] != '\n') ++i_;
    }

    bool read_word(std::string& word, std::string& why) {
        while (i_ < text_.size()) {
            char c = text_[i_];
            if (c == '\'') {
                size_t end = text_.find('\'', i_ + 1);
                if (end == std::string_view::npos) {
                    why = "unterminated quote";
                    return false;
                }
                std::string_view part = text_.substr(i_ + 1, end - i_ - 1);
                next_line_ += static_cast<size_t>(std::count(part.begin(), part.end(), '\n'));
                word.append(part);
                i_ = end + 1;
            } else if (c == '"') {
                ++i_;
                bool closed = false;
                while (i_ < text_.size()) {
                    char d = text_[i_];
                    if (d == '\\' && i_ + 1 < text_.size()) {
                        if (text_[i_ + 1] == '\n') ++next_line_;
                        word += text_[i_ + 1];
                        i_ += 2;
                    } else if (d == '"') {
                        closed = true;
                        ++i_;
                        break;
                    } else {
                        if (d == '\n') ++next_line_;
                        word += d;
                        ++i_;
                    }
                }
                if (!closed) {
                    why = "unterminated quote";
                    return false;
                }
            } else if (c == '\\' && i_ + 1 < text_.size()) {
                if (text_[i_ + 1] == '\n') {
                    ++next_line_;  // continuation: the statement goes on
                } else {
                    word += text_[i_ + 1];
                }
                i_ += 2;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '#') {
                return true;
            } else {
                word += c;
                ++i_;
            }
        }
        return true;
    }

    std::string_view text_;
    size_t i_ = 0;
    size_t line_ = 1;
    size_t next_line_ = 1;
};

void set_option(UciSection& s, const std::string& name, std::string value) {
    UciOption& o = s.option(name);
    o.is_list = false;
    o.values.assign_one(std::move(value));
}

void add_list_value(UciSection& s, const std::string& name, std::string value) {
    UciOption& o = s.option(name);
    o.is_list = true;  // a plain option becomes a list keeping its value, as uci does
    o.values.push_back(std::move(value));
}

}  // namespace

std::optional<UciPackage> parse_uci(std::string_view text, std::string package_name,
                                    std::string* error) {
    UciPackage pkg;
    pkg.name = std::move(package_name);
    UciSection* current = nullptr;
    Lexer lexer(text);
    std::vector<std::string> words;
    std::string why;
    auto fail = [&](const std::string& msg) -> std::optional<UciPackage> {
        if (error) *error = "line " + std::to_string(lexer.line()) + ": " + msg;
        return std::nullopt;
    };
    while (lexer.next(words, why)) {
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
            if (kw == "option")
                set_option(*current, words[1], std::move(words[2]));
            else
                add_list_value(*current, words[1], std::move(words[2]));
        } else {
            return fail("unknown keyword '" + kw + "'");
        }
    }
    if (!why.empty()) return fail(why);
    pkg.shrink_to_fit();
    return pkg;
}

bool apply_uci_change(UciPackage& pkg, std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    if (line.empty()) return false;
    char op = '=';
    if (line.front() == '+' || line.front() == '-' || line.front() == '|') {
        op = line.front();
        line.remove_prefix(1);
    }
    size_t eq = line.find('=');
    std::string_view path = line.substr(0, eq);
    std::string value;
    if (eq != std::string_view::npos) {
        std::string_view raw = line.substr(eq + 1);
        if (!raw.empty() && (raw.front() == '\'' || raw.front() == '"')) {
            Lexer lexer(raw);
            std::vector<std::string> words;
            std::string why;
            if (!lexer.next(words, why) || words.size() != 1) return false;
            value = std::move(words[0]);
        } else {
            value = std::string(raw);
        }
    }
    if (path.size() <= pkg.name.size() || path.compare(0, pkg.name.size(), pkg.name) != 0 ||
        path[pkg.name.size()] != '.')
        return false;
    path.remove_prefix(pkg.name.size() + 1);
    size_t dot = path.find('.');
    switch (op) {
        case '-':
            if (dot == std::string_view::npos) return pkg.remove_section(path);
            if (UciSection* s = pkg.section(path.substr(0, dot)))
                return s->remove(path.substr(dot + 1));
            return false;
        case '|':
            return eq != std::string_view::npos && pkg.add_list(path, value);
        default:
            return eq != std::string_view::npos && pkg.set(path, value);
    }
}

void apply_uci_changes(UciPackage& pkg, std::string_view changes) {
    size_t pos = 0;
    while (pos < changes.size()) {
        size_t nl = changes.find('\n', pos);
        std::string_view line =
            changes.substr(pos, nl == std::string_view::npos ? std::string_view::npos : nl - pos);
        pos = nl == std::string_view::npos ? changes.size() : nl + 1;
        apply_uci_change(pkg, line);  // a change that does not apply is skipped, as uci does
    }
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

void render_uci(const UciPackage& pkg, const std::function<void(std::string_view)>& put) {
    std::string line;
    for (const auto& s : pkg.sections()) {
        line = "\nconfig " + s.type;
        if (!s.name.empty()) line += " " + uci_quote(s.name);
        line += '\n';
        put(line);
        for (const auto& o : s.options()) {
            for (const auto& v : o.values) {
                line = o.is_list ? "\tlist " : "\toption ";
                line += o.name;
                line += ' ';
                line += uci_quote(v);
                line += '\n';
                put(line);
            }
        }
    }
    if (!pkg.sections().empty()) put("\n");
}

std::string render_uci(const UciPackage& pkg) {
    std::string out;
    render_uci(pkg, [&out](std::string_view piece) { out += piece; });
    return out;
}

}  // namespace platform
