#include "units_device.h"

namespace e2e {

std::string device_entry(const device &what)
{
    return bytes({what.kind, 129, what.index, what.flag, what.fan_type, 0, 0}) +
           field(what.sn, 24) + field(what.hw, 6) + field(what.name, 32) + what.type +
           repeated(58, 0xA5);
}

std::string device_record(int count, std::string_view entries)
{
    const auto size = static_cast<int>(entries.size());
    return bytes({count, 1, size % 256, size / 256, 0, 0}).append(entries);
}

std::string device_message(std::string_view record, int before)
{
    const auto size = static_cast<int>(record.size());
    return bytes({0x01, 0, 0, size / 256, size % 256}).append(record) + sum_of(record, before);
}

void exchange_devices(unit_session &pc, std::string_view sent, std::string_view answered)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(device_message(sent), unit_answer_offer);
    pc.exchange(unit_acknowledge, device_message(answered));
    pc.session.send(unit_acknowledge);
}

std::string device_memory(std::string_view type_backwards, std::string_view sn, std::string_view hw)
{
    return std::string(type_backwards) + field(sn, 24) + field(hw, 6);
}

} // namespace e2e
