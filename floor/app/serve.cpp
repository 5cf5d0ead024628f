#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "floor/app/commands.h"
#include "floor/app/log.h"
#include "floor/app/log_of_events.h"
#include "floor/ports/udev_ports.h"
#include "floor/server/server.h"
#include "floor/slots/floor_control.h"
#include "ledger/model/journal_entry.h"

namespace shopfloor {

namespace {

/** One floor's file. */
class only_one {
public:
    explicit only_one(const std::string &file) : file_(::open(file.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (file_ < 0 || flock(file_, LOCK_EX | LOCK_NB) != 0) {
            ::close(file_);
            throw std::runtime_error(file + ": another setmac-floor serves it already");
        }
    }
    ~only_one() { ::close(file_); }
    only_one(const only_one &) = delete;
    only_one &operator=(const only_one &) = delete;

private:
    int file_;
};

/** The station as the ledger knows it, however its file and the ledger's are called. */
std::string station_in_ledger(const floor_description &floor)
{
    constexpr std::string_view sqlite = "sqlite:";
    auto ledger = floor.ledger;
    if (ledger.starts_with(sqlite)) {
        ledger = std::filesystem::weakly_canonical(ledger.substr(sqlite.size())).string();
    }
    return ledger + '\n' + floor.station;
}

/**
 * Two floors of one station would end each other's runs, and an editor that saves a file makes
 * another one. The name is in no file system and goes with the process.
 */
class only_one_of_station {
public:
    explicit only_one_of_station(const floor_description &floor)
        : name_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const auto name = "setmac-floor:" + ledger::sha256_of(station_in_ledger(floor));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        // The zero ahead of it makes it a name without a file.
        std::ranges::copy(name, std::begin(address.sun_path) + 1);
        const auto size = offsetof(sockaddr_un, sun_path) + 1 + name.size();
        if (::bind(name_, reinterpret_cast<const sockaddr *>(&address),
                   static_cast<socklen_t>(size)) != 0) {
            const auto why = errno;
            ::close(name_);
            throw std::runtime_error(
                why == EADDRINUSE
                    ? "another setmac-floor serves station \"" + floor.station + "\" already"
                    : std::string("the station cannot be kept for one floor: ") +
                          std::strerror(why));
        }
    }
    ~only_one_of_station() { ::close(name_); }
    only_one_of_station(const only_one_of_station &) = delete;
    only_one_of_station &operator=(const only_one_of_station &) = delete;

private:
    int name_;
};

sigset_t signals_that_end()
{
    sigset_t all;
    sigemptyset(&all);
    for (const int each : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&all, each);
    }
    return all;
}

server_settings settings_of(const floor_description &floor)
{
    server_settings settings;
    settings.address = floor.listen;
    settings.port = static_cast<std::uint16_t>(floor.port);
    settings.hosts = floor.hosts;
    settings.origins = floor.origins;
    return settings;
}

} // namespace

int serve(const choices &chosen)
{
    // Those who write to a connection or a program that is gone are told by the call.
    std::signal(SIGPIPE, SIG_IGN);
    const auto ends = signals_that_end();
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // for the threads, too, that begin here
    const log told(chosen.for_journal);
    const auto described = read_floor(chosen.file);
    const only_one of_file(chosen.file);
    const only_one_of_station of_station(described);
    // Ahead of the floor, which ends what an earlier one has left.
    listening_port port(settings_of(described));
    udev_ports ports;
    floor_control floor(described, ports, SETMAC_VERSION);
    server doors(floor, settings_of(described));
    doors.start(port);
    const log_of_events following(floor.events(), told);
    told.tell(priority::notice, described.name + ": " + std::to_string(described.slots.size()) +
                                    " slots, http://" + described.listen + ":" +
                                    std::to_string(doors.port()) + "/");
    int received = 0;
    sigwait(&ends, &received);
    told.tell(priority::notice, "ends: runs are cancelled, their ends entered into the ledger");
    floor.stop();
    doors.stop();
    return 0;
}

} // namespace shopfloor
