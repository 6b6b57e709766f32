// uci: the host's stand-in for OpenWrt's uci command line, on the same text files the
// daemon's host backend reads (package P of configuration directory D is the file D/P).
//
//   uci [-q] [-c DIR] [-P DIR] COMMAND [ARGUMENT]
//     -q       print no error messages (the exit status still tells)
//     -c DIR   configuration directory (default /etc/config)
//     -P DIR   state directory: DIR/P holds saved changes ("p.s.o='v'" lines, as the
//              wireless scripts leave in /var/state) applied on top of the
//              configuration for every read, and written by set/delete/add_list
//
//   get p.s.o              the option's value (a list: its values joined by blanks)
//   get p.s                the section's type
//   set p.s.o=VALUE        sets the option (the section must exist)
//   set p.s=TYPE           creates the section, or changes its type
//   add_list p.s.o=VALUE   appends a value to a list option
//   delete p.s[.o]         removes a section or an option
//   show [p[.s[.o]]]       "p.s=type" and "p.s.o='value'" lines; anonymous sections
//                          appear as "p.@type[i]"; without an argument every package
//   commit [p]             accepted: set, add_list and delete already wrote their file,
//                          replacing it atomically (write a temporary file, rename)
//
// A missing package, section or option prints "uci: Entry not found" on standard
// error and gives exit status 1; other failures print "uci: Invalid argument",
// "uci: Parse error (...)" or "uci: I/O error" and give 1 as well.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_watch.h"
#include "platform/uci_file.h"
#include "platform/unique_fd.h"

namespace {

using platform::UciPackage;

struct Options {
    bool quiet = false;
    std::string config_dir = "/etc/config";
    std::string state_dir;  // empty: no state directory
};

int fail(const Options& o, const std::string& message) {
    if (!o.quiet) std::fprintf(stderr, "uci: %s\n", message.c_str());
    return 1;
}

std::optional<std::string> read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream s;
    s << in.rdbuf();
    if (in.bad()) return std::nullopt;
    return s.str();
}

bool valid_package_name(std::string_view name) {
    if (name.empty()) return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-';
    });
}

std::string config_file(const Options& o, std::string_view package) {
    return o.config_dir + "/" + std::string(package);
}
std::string state_file(const Options& o, std::string_view package) {
    return o.state_dir + "/" + std::string(package);
}

// The package as a read sees it: the configuration with the saved state applied.
// Nothing (and `why` set) when neither exists or the configuration does not parse.
std::optional<UciPackage> load(const Options& o, std::string_view package, std::string& why) {
    if (!valid_package_name(package)) {
        why = "Invalid argument";
        return std::nullopt;
    }
    auto text = read_text(config_file(o, package));
    std::optional<std::string> state;
    if (!o.state_dir.empty()) state = read_text(state_file(o, package));
    if (!text && !state) {
        why = "Entry not found";
        return std::nullopt;
    }
    std::string error;
    auto pkg = platform::parse_uci(text.value_or(""), std::string(package), &error);
    if (!pkg) {
        why = "Parse error (" + error + ")";
        return std::nullopt;
    }
    if (state) platform::apply_uci_changes(*pkg, *state);
    return pkg;
}

void split_package(std::string_view path, std::string_view& package, std::string_view& rest) {
    size_t dot = path.find('.');
    package = path.substr(0, dot);
    rest = dot == std::string_view::npos ? std::string_view() : path.substr(dot + 1);
}

// The name a section is shown under: its own, or "@type[i]" for an anonymous one.
std::string shown_name(const UciPackage& pkg, size_t index) {
    const auto& s = pkg.sections()[index];
    if (!s.name.empty()) return s.name;
    size_t nth = 0;
    for (size_t i = 0; i < index; ++i)
        if (pkg.sections()[i].type == s.type) ++nth;
    return "@" + s.type + "[" + std::to_string(nth) + "]";
}

void show_option(const std::string& prefix, const platform::UciOption& opt) {
    std::string line = prefix + "." + opt.name + "=";
    for (size_t i = 0; i < opt.values.size(); ++i) {
        if (i) line += ' ';
        line += platform::uci_quote(opt.values[i]);
    }
    std::printf("%s\n", line.c_str());
}

void show_section(const UciPackage& pkg, size_t index) {
    const auto& s = pkg.sections()[index];
    std::string prefix = pkg.name + "." + shown_name(pkg, index);
    std::printf("%s=%s\n", prefix.c_str(), s.type.c_str());
    for (const auto& opt : s.options()) show_option(prefix, opt);
}

size_t index_of(const UciPackage& pkg, const platform::UciSection* s) {
    return static_cast<size_t>(s - pkg.sections().data());
}

std::vector<std::string> packages_in(const std::string& dir) {
    std::vector<std::string> names;
    platform::UniqueDir d(::opendir(dir.c_str()));
    if (!d) return names;
    while (dirent* e = ::readdir(d.get())) {
        std::string name = e->d_name;
        if (valid_package_name(name)) names.push_back(name);  // skips ".", "..", "x.tmp.1"
    }
    std::sort(names.begin(), names.end());
    return names;
}

int cmd_show(const Options& o, std::string_view arg) {
    if (arg.empty()) {
        for (const auto& name : packages_in(o.config_dir)) {
            std::string why;
            auto pkg = load(o, name, why);
            if (!pkg) return fail(o, why);
            for (size_t i = 0; i < pkg->sections().size(); ++i) show_section(*pkg, i);
        }
        return 0;
    }
    std::string_view package, rest;
    split_package(arg, package, rest);
    std::string why;
    auto pkg = load(o, package, why);
    if (!pkg) return fail(o, why);
    if (rest.empty()) {
        for (size_t i = 0; i < pkg->sections().size(); ++i) show_section(*pkg, i);
        return 0;
    }
    size_t dot = rest.find('.');
    const platform::UciSection* s = pkg->section(rest.substr(0, dot));
    if (!s) return fail(o, "Entry not found");
    size_t index = index_of(*pkg, s);
    if (dot == std::string_view::npos) {
        show_section(*pkg, index);
        return 0;
    }
    const platform::UciOption* opt = s->find(rest.substr(dot + 1));
    if (!opt) return fail(o, "Entry not found");
    show_option(pkg->name + "." + shown_name(*pkg, index), *opt);
    return 0;
}

int cmd_get(const Options& o, std::string_view arg) {
    std::string_view package, rest;
    split_package(arg, package, rest);
    if (rest.empty()) return fail(o, "Invalid argument");
    std::string why;
    auto pkg = load(o, package, why);
    if (!pkg) return fail(o, why);
    auto value = pkg->get(rest);
    if (!value) return fail(o, "Entry not found");
    std::printf("%s\n", value->c_str());
    return 0;
}

// set, add_list and delete: applied to what a read sees, to check them, then saved
// either into the configuration file or, with -P, as a change line in the state file.
int cmd_change(const Options& o, std::string_view cmd, std::string_view arg) {
    std::string_view path = arg, value;
    bool has_value = false;
    if (cmd != "delete") {
        size_t eq = arg.find('=');
        if (eq == std::string_view::npos) return fail(o, "Invalid argument");
        path = arg.substr(0, eq);
        value = arg.substr(eq + 1);
        has_value = true;
    }
    std::string_view package, rest;
    split_package(path, package, rest);
    if (rest.empty()) return fail(o, "Invalid argument");
    std::string why;
    auto pkg = load(o, package, why);
    if (!pkg) return fail(o, why);

    char op = cmd == "delete" ? '-' : cmd == "add_list" ? '|' : 0;
    std::string change = (op ? std::string(1, op) : std::string()) + std::string(path);
    if (has_value) change += "=" + platform::uci_quote(value);
    if (!platform::apply_uci_change(*pkg, change)) {
        size_t dot = rest.find('.');
        bool section_missing = !pkg->section(rest.substr(0, dot));
        bool option_missing = cmd == "delete" && !section_missing;
        return fail(o, section_missing || option_missing ? "Entry not found" : "Invalid argument");
    }

    bool saved;
    if (o.state_dir.empty()) {
        saved =
            platform::replace_file_atomically(config_file(o, package), platform::render_uci(*pkg));
    } else {
        std::string state = read_text(state_file(o, package)).value_or("");
        if (!state.empty() && state.back() != '\n') state += '\n';
        saved = platform::replace_file_atomically(state_file(o, package), state + change + "\n");
    }
    return saved ? 0 : fail(o, "I/O error");
}

int cmd_commit(const Options& o, std::string_view arg) {
    if (arg.empty()) return 0;
    std::string why;
    if (!load(o, arg, why)) return fail(o, why);
    return 0;
}

int usage() {
    std::fputs(
        "usage: uci [-q] [-c DIR] [-P DIR] COMMAND [ARGUMENT]\n"
        "  get p.s[.o] | set p.s.o=VALUE | set p.s=TYPE | add_list p.s.o=VALUE\n"
        "  delete p.s[.o] | show [p[.s[.o]]] | commit [p]\n",
        stderr);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    int c;
    while ((c = ::getopt(argc, argv, "+qc:P:")) != -1) {
        switch (c) {
            case 'q':
                o.quiet = true;
                break;
            case 'c':
                o.config_dir = optarg;
                break;
            case 'P':
                o.state_dir = optarg;
                break;
            default:
                return usage();
        }
    }
    if (optind >= argc) return usage();
    std::string_view cmd = argv[optind];
    std::string_view arg = optind + 1 < argc ? argv[optind + 1] : "";
    if (optind + 2 < argc) return usage();
    if (cmd == "get") return arg.empty() ? usage() : cmd_get(o, arg);
    if (cmd == "set" || cmd == "add_list" || cmd == "delete")
        return arg.empty() ? usage() : cmd_change(o, cmd, arg);
    if (cmd == "show") return cmd_show(o, arg);
    if (cmd == "commit") return cmd_commit(o, arg);
    return usage();
}
