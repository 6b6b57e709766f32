// Loads a router of the simulator (sim/scenarios/<name>) into a FakeBackend: its nvram,
// hardware version, files, optional tools, and answers for the Wi-Fi and security
// service command lines, worked out from the scenario's answer files as the
// simulator's tool stand-ins would.
#pragma once

#include <string.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/fake_backend.h"

namespace sim_fixture {

namespace fs = std::filesystem;
using testing_support::FakeBackend;

inline fs::path scenarios_dir() {
    return fs::path(__FILE__).parent_path().parent_path().parent_path() / "sim" / "scenarios";
}

inline std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream s(text);
    std::string line;
    while (std::getline(s, line)) out.push_back(line);
    return out;
}

inline std::string joined(const std::vector<std::string>& lines) {
    std::string out;
    for (const auto& l : lines) out += l + "\n";
    return out;
}

// The word after `head` in `command`, up to the next blank.
inline std::string word_after(const std::string& command, const std::string& head) {
    size_t p = command.find(head);
    if (p == std::string::npos) return "";
    p += head.size();
    size_t e = command.find(' ', p);
    return command.substr(p, e == std::string::npos ? std::string::npos : e - p);
}

// "sort -V" of the router's busybox: strverscmp order, where a number with a leading
// zero sorts as a fraction ("ath02" before "ath0").
inline bool version_less(const std::string& a, const std::string& b) {
    return strverscmp(a.c_str(), b.c_str()) < 0;
}

class Scenario {
  public:
    Scenario(FakeBackend& fake, const std::string& name)
        : fake_(fake), dir_(scenarios_dir() / name) {
        copy_tree(scenarios_dir() / "common" / "root");
        copy_tree(dir_ / "root");
        load_nvram();
        fake_.hwversion = lines_of(slurp(dir_ / "root/etc/hw_version")).at(0);
        install_tools();
        script_commands();
    }

    std::string answer(const std::string& rel) const {
        fs::path p = dir_ / "answers" / rel;
        return fs::exists(p) ? slurp(p) : std::string();
    }

  private:
    void copy_tree(const fs::path& root) {
        if (!fs::exists(root)) return;
        for (const auto& e : fs::recursive_directory_iterator(root)) {
            std::string rel = "/" + fs::relative(e.path(), root).generic_string();
            if (e.is_directory())
                fake_.mkdir(rel);
            else if (e.is_regular_file())
                fake_.write(rel, slurp(e.path()));
        }
    }

    void load_nvram() {
        for (const std::string& line : lines_of(slurp(dir_ / "root/etc/nvram.txt"))) {
            if (line.empty() || line[0] == '#') continue;
            size_t eq = line.find('=');
            if (eq == std::string::npos) continue;
            fake_.nvram[line.substr(0, eq)] = line.substr(eq + 1);
        }
    }

    void install_tools() {
        static const std::pair<const char*, const char*> kPlaces[] = {
            {"zt", "/usr/bin/zt"},
            {"kiln", "/usr/bin/kiln"},
            {"circlectl", "/usr/bin/circlectl"},
            {"circled", "/usr/bin/circled"},
            {"bdagent-manage", "/opt/bitdefender/bin/bdagent-manage"},
            {"wandetect", "/usr/sbin/wandetect"},
        };
        for (const std::string& tool : lines_of(slurp(dir_ / "tools"))) {
            for (const auto& [name, path] : kPlaces)
                if (tool == name) {
                    fake_.write(path, "");
                    tools_.push_back(tool);
                }
        }
    }

    bool has_tool(const std::string& name) const {
        return std::find(tools_.begin(), tools_.end(), name) != tools_.end();
    }

    std::string zt_value(const std::string& key) const {
        for (const std::string& line : lines_of(answer("zt.txt")))
            if (line.rfind(key + "=", 0) == 0) return line.substr(key.size() + 1) + "\n";
        return "";
    }

    std::string matching(const std::string& text, const std::string& part) const {
        std::vector<std::string> out;
        for (const std::string& line : lines_of(text))
            if (line.find(part) != std::string::npos) out.push_back(line);
        return joined(out);
    }

    void script_commands() {
        fake_.on_prefix("zt -s ", [this](const std::string& c) {
            return FakeBackend::outputs(has_tool("zt") ? zt_value(word_after(c, "zt -s ")) : "");
        });
        fake_.on_prefix("ps | grep ", [this](const std::string& c) {
            return FakeBackend::outputs(matching(answer("ps-extra"), word_after(c, "ps | grep ")));
        });
        auto status = [this](const std::string&) {
            return FakeBackend::outputs(has_tool("bdagent-manage") ? answer("bdagent-status.json")
                                                                   : "");
        };
        fake_.on_prefix("/opt/bitdefender/bin/bdagent-manage", status);
        fake_.on_prefix("lxc-attach shield-bd -- /opt/bitdefender/bin/bdagent-manage", status);
        auto release = [this](const std::string&) {
            auto text = fake_.read("/opt/bitdefender/bitdefender-release");
            return FakeBackend::outputs(matching(text.value_or(""), "VERSION"));
        };
        fake_.on_prefix("cat /opt/bitdefender/bitdefender-release", release);
        fake_.on_prefix("lxc-attach shield-bd -- cat /opt/bitdefender/bitdefender-release",
                        release);
        fake_.on_prefix("lxc-attach shield-bd -- cat /opt/bitdefender/guster/guster.version",
                        [this](const std::string&) {
                            return FakeBackend::outputs(
                                fake_.read("/opt/bitdefender/guster/guster.version").value_or(""));
                        });
        fake_.on_prefix("kiln version -s", [this](const std::string&) {
            return FakeBackend::outputs(
                has_tool("kiln") ? matching(answer("kiln-version"), "shield-bd:") : "");
        });
        fake_.on_prefix("iw dev ", [this](const std::string& c) { return iw_dev(c); });
        fake_.on_prefix("iw phy ", [this](const std::string& c) {
            std::string phy = word_after(c, "iw phy ");
            size_t q = c.find('\'');
            std::string marker = c.substr(q + 1, c.find('\'', q + 1) - q - 1);
            return FakeBackend::outputs(matching(answer("iw/" + phy + ".info"), marker));
        });
        fake_.on_prefix("iwlist ", [this](const std::string& c) {
            auto lines = lines_of(answer("iwlist/" + word_after(c, "iwlist ") + ".channel"));
            std::string line;
            if (c.find("| head -2 | tail -1") != std::string::npos && lines.size() >= 2)
                line = lines[1];
            if (c.find("| tail -3 | head -1") != std::string::npos && lines.size() >= 3)
                line = lines[lines.size() - 3];
            std::stringstream s(line);
            std::string first, second;
            s >> first >> second;
            return FakeBackend::outputs(second + "\n");
        });
        fake_.on_prefix("iwconfig | grep ", [this](const std::string& c) {
            std::string part = word_after(c, "iwconfig | grep ");
            auto lines = lines_of(matching(answer("iwconfig"), part));
            std::stable_sort(lines.begin(), lines.end(), version_less);
            return FakeBackend::outputs(joined(lines));
        });
        fake_.on_prefix("ip addr show ", [this](const std::string& c) {
            std::string ifname = word_after(c, "ip addr show ");
            auto state = fake_.read("/sys/class/net/" + ifname + "/operstate");
            if (!state) return FakeBackend::outputs("");
            auto index = fake_.read("/sys/class/net/" + ifname + "/ifindex");
            bool down = state->rfind("down", 0) == 0;
            std::string line = (index ? lines_of(*index).at(0) : std::string("2")) + ": " + ifname +
                               ": <" +
                               (down ? "BROADCAST,MULTICAST" : "BROADCAST,MULTICAST,UP,LOWER_UP") +
                               "> mtu 1500 qdisc noqueue state " + (down ? "DOWN" : "UP") +
                               " group default qlen 1000\n";
            return FakeBackend::outputs(line);
        });
    }

    FakeBackend::Response iw_dev(const std::string& c) {
        if (c.rfind("iw dev | grep -A 1 'Interface' | grep -B 1 '", 0) == 0) {
            size_t q = c.find("grep -B 1 '") + 11;
            std::string part = c.substr(q, c.find('\'', q) - q);
            auto lines = lines_of(answer("iw/dev"));
            std::vector<std::string> names;
            for (size_t i = 0; i < lines.size(); ++i) {
                size_t at = lines[i].find("Interface ");
                if (at == std::string::npos) continue;
                bool hit = lines[i].find(part) != std::string::npos ||
                           (i + 1 < lines.size() && lines[i + 1].find(part) != std::string::npos);
                if (hit) names.push_back(lines[i].substr(at + 10));
            }
            return FakeBackend::outputs(joined(names));
        }
        std::string ifname = word_after(c, "iw dev ");
        std::string info = answer("iw/" + ifname + ".info");
        if (c.find("| tail -1 | awk -F'width: '") != std::string::npos) {
            auto lines = lines_of(info);
            std::string last = lines.empty() ? "" : lines.back();
            size_t w = last.find("width: ");
            std::string bw;
            if (w != std::string::npos) {
                std::stringstream s(last.substr(w + 7));
                s >> bw;
            }
            return FakeBackend::outputs(bw + "\n");
        }
        return FakeBackend::outputs(info);
    }

    FakeBackend& fake_;
    fs::path dir_;
    std::vector<std::string> tools_;
};

}  // namespace sim_fixture
