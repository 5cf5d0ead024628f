#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>

#include "floor/app/commands.h"
#include "floor/app/log.h"
#include "floor/app/log_of_events.h"
#include "floor/ports/udev_ports.h"
#include "floor/server/server.h"
#include "floor/slots/floor_control.h"

namespace shopfloor {

namespace {

/** Two floors with the same slots would end each other's runs. */
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
    const only_one lock(chosen.file);
    udev_ports ports;
    floor_control floor(described, ports, SETMAC_VERSION);
    server doors(floor, settings_of(described));
    doors.start();
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
