#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <boost/asio/io_context.hpp>

#include "floor/model/control.h"
#include "floor/requests/routes.h"
#include "floor/server/server.h"

namespace shopfloor {

/** Brings work to the server's thread, for as long as there is one. Any thread may post. */
class mailbox {
public:
    explicit mailbox(boost::asio::io_context &to) : to_(&to) {}

    void post(std::function<void()> work);
    /** What is posted from now on is dropped. */
    void close();

private:
    std::mutex guard_;
    boost::asio::io_context *to_;
};

/** How many are connected, in all and from each address. On the server's thread only. */
class guest_list {
public:
    explicit guest_list(const server_limits &limits) : limits_(limits) {}

    bool has_room_for(const std::string &address) const;

private:
    friend class guest;
    const server_limits &limits_;
    std::map<std::string, std::size_t> of_each_ = {};
    std::size_t all_ = 0;
};

/** Counts as connected while it lives. */
class guest {
public:
    guest(guest_list &list, std::string address);
    guest(guest &&other) noexcept
        : list_(std::exchange(other.list_, nullptr)), address_(std::move(other.address_))
    {
    }
    guest &operator=(guest &&) = delete;
    ~guest();

private:
    guest_list *list_;
    std::string address_;
};

class event_stream;

/** What all connections of a server share. On the server's thread, but for the mailbox. */
struct service {
    control &floor;
    const server_limits limits;
    const routes routing;
    std::shared_ptr<mailbox> mail;
    guest_list guests{limits};
    std::map<event_stream *, std::weak_ptr<event_stream>> streams = {};
};

} // namespace shopfloor
