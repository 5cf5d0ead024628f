#include "floor/server/service.h"

#include <boost/asio/post.hpp>

namespace shopfloor {

void mailbox::post(std::function<void()> work)
{
    const std::lock_guard lock(guard_);
    if (to_ != nullptr) {
        boost::asio::post(*to_, std::move(work));
    }
}

void mailbox::close()
{
    const std::lock_guard lock(guard_);
    to_ = nullptr;
}

bool guest_list::has_room_for(const std::string &address) const
{
    const auto known = of_each_.find(address);
    const auto of_one = known == of_each_.end() ? 0 : known->second;
    return all_ < limits_.connections && of_one < limits_.connections_of_one;
}

guest::guest(guest_list &list, std::string address) : list_(&list), address_(std::move(address))
{
    ++list_->all_;
    ++list_->of_each_[address_];
}

guest::~guest()
{
    if (list_ == nullptr) {
        return;
    }
    --list_->all_;
    const auto own = list_->of_each_.find(address_);
    if (--own->second == 0) {
        list_->of_each_.erase(own);
    }
}

} // namespace shopfloor
