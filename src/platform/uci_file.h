// UCI configuration text: the parsed form of one package and its reader and writer.
// Used by the host backend (files on disk), the fake backend (in memory) and the
// host `uci` tool, so all three agree on quoting, comments and lists.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace platform {

// The values of one option: one for a plain option, any number for a list. The first
// value is kept in place and only the rest of a list in an array of its own, so that a
// plain option, nearly every option of a device table, costs no allocation of its own
// beside its text.
class UciValues {
  public:
    UciValues() = default;
    UciValues(const UciValues& other);
    UciValues& operator=(const UciValues& other);
    UciValues(UciValues&&) noexcept = default;
    UciValues& operator=(UciValues&&) noexcept = default;

    size_t size() const { return has_first_ ? 1 + (rest_ ? rest_->size() : 0) : 0; }
    bool empty() const { return !has_first_; }
    const std::string& operator[](size_t i) const { return i == 0 ? first_ : (*rest_)[i - 1]; }
    // The value at `i`; std::out_of_range past the last.
    const std::string& at(size_t i) const;
    // Makes `value` the only value.
    void assign_one(std::string value);
    void push_back(std::string value);

    class const_iterator {
      public:
        const_iterator(const UciValues* values, size_t i) : values_(values), i_(i) {}
        const std::string& operator*() const { return (*values_)[i_]; }
        const_iterator& operator++() {
            ++i_;
            return *this;
        }
        bool operator==(const const_iterator& other) const = default;

      private:
        const UciValues* values_;
        size_t i_;
    };
    const_iterator begin() const { return {this, 0}; }
    const_iterator end() const { return {this, size()}; }

  private:
    std::string first_;
    bool has_first_ = false;
    std::unique_ptr<std::vector<std::string>> rest_;  // values 2.. of a list
};

struct UciOption {
    std::string name;
    bool is_list = false;
    UciValues values;  // one value for a plain option
};

// A section's options keep their order. A section of a few dozen options is searched
// in order; from kIndexFrom options on, a name index makes each lookup constant time,
// so a section with tens of thousands of options still parses in linear time. The
// index is kept only where it pays: on the device tables, where every section holds
// about 30 options, it would double the memory a parsed table takes. The options are
// read freely but changed only through the methods, which keep the index.
class UciSection {
  public:
    UciSection() = default;
    UciSection(std::string type_, std::string name_)
        : type(std::move(type_)), name(std::move(name_)) {}

    std::string type;
    std::string name;  // empty for an anonymous section

    const std::vector<UciOption>& options() const { return options_; }
    const UciOption* find(std::string_view option) const;
    UciOption* find(std::string_view option);
    // The option of that name, appended (a plain option without values) when absent.
    UciOption& option(std::string_view option);
    bool remove(std::string_view option);

    static constexpr size_t kIndexFrom = 64;
    // Gives back the room the options' array grew into while it was read.
    void shrink_to_fit() { options_.shrink_to_fit(); }

  private:
    std::vector<UciOption> options_;
    std::unordered_map<std::string, size_t> index_;
};

class UciPackage {
  public:
    std::string name;

    const std::vector<UciSection>& sections() const { return sections_; }

    // Section by name, or "@type[index]" (negative index counts from the end).
    const UciSection* section(std::string_view ref) const;
    UciSection* section(std::string_view ref);
    UciSection& add_section(std::string type, std::string name);
    bool remove_section(std::string_view ref);
    // Gives back the room the section and option arrays grew into while they were read:
    // a parsed device table is kept for a whole pass.
    void shrink_to_fit();

    // Value of "section.option" (a list reads as its values joined by one blank) or of
    // "section" (its type). Nothing when absent.
    std::optional<std::string> get(std::string_view path) const;
    // "section.option" = value replaces the option (creating it); "section" = type
    // creates the section or changes its type. False when the section is missing or
    // the path is malformed.
    bool set(std::string_view path, std::string_view value);
    // Appends a value to a list option (creating it).
    bool add_list(std::string_view path, std::string_view value);

  private:
    void reindex();
    std::vector<UciSection> sections_;
    std::unordered_map<std::string, size_t> by_name_;
};

// Parses UCI text. On a syntax error returns nothing and, when `error` is given,
// describes the first problem with its line number.
std::optional<UciPackage> parse_uci(std::string_view text, std::string package_name,
                                    std::string* error = nullptr);
// Applies one saved change, in the form `uci -P <dir>` keeps in <dir>/<package>:
// "p.s.o=value" or "p.s=type" (set), "-p.s[.o]" (delete), "|p.s.o=value" (add to a
// list); "+p.s=type" is a set too. A value may be single- or double-quoted. False when
// the line does not name this package or does not apply (e.g. its section is missing).
bool apply_uci_change(UciPackage& pkg, std::string_view line);
// Applies every line of a saved-change file in order, skipping those that do not apply.
void apply_uci_changes(UciPackage& pkg, std::string_view changes);
// Renders a package in the canonical form `uci export` uses.
std::string render_uci(const UciPackage& pkg);
// The same text handed to `put` in pieces, for writing a large package without holding
// its whole text.
void render_uci(const UciPackage& pkg, const std::function<void(std::string_view)>& put);
// Single-quotes a value for UCI text.
std::string uci_quote(std::string_view value);

}  // namespace platform
