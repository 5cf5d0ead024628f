#include "floor/ports/examine.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "floor/ports/udev_ports.h"

namespace shopfloor {

namespace {

namespace fs = std::filesystem;

bool is_process(const fs::path &entry)
{
    const auto name = entry.filename().string();
    return !name.empty() &&
           std::ranges::all_of(name, [](unsigned char each) { return std::isdigit(each) != 0; });
}

std::string name_of_process(const fs::path &process)
{
    std::ifstream in(process / "comm");
    std::string name;
    std::getline(in, name);
    return name;
}

std::vector<fs::path> entries_of(const fs::path &folder)
{
    std::vector<fs::path> entries;
    std::error_code error;
    // A process may end while it is looked at.
    for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
         at.increment(error)) {
        entries.push_back(at->path());
    }
    return entries;
}

std::vector<fs::path> processes()
{
    auto all = entries_of("/proc");
    std::erase_if(all, [](const auto &each) { return !is_process(each); });
    return all;
}

bool has_open(const fs::path &process, const fs::path &file)
{
    return std::ranges::any_of(entries_of(process / "fd"), [&](const auto &each) {
        std::error_code error;
        return fs::read_symlink(each, error) == file && !error;
    });
}

bool runs(const std::string &program)
{
    return std::ranges::any_of(processes(),
                               [&](const auto &each) { return name_of_process(each) == program; });
}

/** Its package brings rules for adapters; one of the same name in /etc takes their place. */
std::vector<std::string> braille_rules()
{
    std::vector<std::string> rules;
    for (const auto &each : entries_of("/usr/lib/udev/rules.d")) {
        const auto name = each.filename().string();
        std::error_code error;
        const auto other = fs::path("/etc/udev/rules.d") / name;
        if (name.find("brltty") != std::string::npos && !fs::exists(other, error)) {
            rules.push_back(name);
        }
    }
    std::ranges::sort(rules);
    return rules;
}

std::string group_of(const std::string &file)
{
    struct stat found {};
    if (stat(file.c_str(), &found) != 0) {
        return "";
    }
    const auto *group = getgrgid(found.st_gid); // NOLINT(concurrency-mt-unsafe)
    return group == nullptr ? "" : group->gr_name;
}

} // namespace

std::vector<std::string> users_of(const std::string &file)
{
    std::vector<std::string> users;
    const auto own = std::to_string(getpid());
    for (const auto &each : processes()) {
        const auto number = each.filename().string();
        if (number != own && has_open(each, file)) {
            users.push_back(name_of_process(each) + " (" + number + ")");
        }
    }
    return users;
}

examined_pc examine_this_pc(std::vector<std::string> wanted)
{
    examined_pc pc;
    for (auto &facts : all_ttys()) {
        const auto device = facts.device;
        pc.ports.push_back({std::move(facts), access(device.c_str(), R_OK | W_OK) == 0,
                            group_of(device), users_of(device)});
    }
    pc.controllers = all_usb_controllers();
    pc.modem_manager = runs("ModemManager");
    pc.braille_daemon = runs("brltty");
    pc.braille_rules = braille_rules();
    pc.wanted = std::move(wanted);
    return pc;
}

} // namespace shopfloor
