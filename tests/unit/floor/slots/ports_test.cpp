#include <gtest/gtest.h>

#include "floor/ports/diagnosis.h"
#include "floor/ports/learner.h"

namespace {

using namespace shopfloor;

tty_facts adapter(const std::string &device, const std::string &path)
{
    return {.device = device, .path = path, .maker = "Maker", .model = "Model"};
}

TEST(port_place, is_where_the_adapter_is_plugged_in_and_not_its_name)
{
    const auto port = port_of(adapter("/dev/ttyUSB7", "pci-0000:00:14.0-usb-0:1.4.3:1.0"));
    EXPECT_EQ(port.device, "/dev/ttyUSB7");
    EXPECT_EQ(port.place, "usb 0000:00:14.0 1.4.3:1.0");
    EXPECT_EQ(port.adapter, "Maker Model");
    EXPECT_EQ(port_of(adapter("/dev/ttyUSB0", "pci-0000:00:14.0-usb-0:1.4.3:1.0")).place,
              port.place);
}

TEST(port_place, tells_the_ports_of_an_adapter_apart)
{
    auto facts = adapter("/dev/ttyUSB7", "pci-0000:00:14.0-usb-0:2:1.0");
    facts.port_number = "0";
    EXPECT_EQ(port_of(facts).place, "usb 0000:00:14.0 2:1.0");
    facts.port_number = "3";
    EXPECT_EQ(port_of(facts).place, "usb 0000:00:14.0 2:1.0 port 3");
}

TEST(port_place, is_none_while_udev_tells_that_of_another_device)
{
    auto facts = adapter("/dev/ttyUSB7", "pci-0000:00:14.0-usb-0:1.4.3:1.0");
    facts.interface = "3-1.4.3:1.0";
    EXPECT_EQ(port_of(facts).place, "usb 0000:00:14.0 1.4.3:1.0");
    for (const auto *other : {"1-1.4.2:1.0", "1-4.3:1.0", "1-1.4.3:1.1", "1-1.4.3.1:1.0"}) {
        facts.interface = other;
        EXPECT_EQ(port_of(facts).place, "") << other;
    }
}

TEST(port_place, is_none_where_nothing_tells_it)
{
    EXPECT_EQ(port_of(adapter("/dev/ttyUSB7", "")).place, "");
    EXPECT_EQ(port_of(adapter("/dev/ttyS4", "platform-serial8250")).place, "platform-serial8250");
}

serial_port at(const std::string &place)
{
    return {"/dev/ttyUSB0", place, ""};
}

std::string told(const std::vector<learnt_slot> &slots)
{
    std::string out;
    for (const auto &each : slots) {
        out += std::to_string(each.number) + "=" + each.place + " ";
    }
    return out;
}

TEST(slots_learnt, have_numbers_in_the_order_in_which_cables_are_plugged_in)
{
    learner learning(5, {at("mouse")}, {"taken"});
    EXPECT_EQ(told(learning.take({at("mouse")})), "");
    EXPECT_EQ(told(learning.take({at("mouse"), at("z")})), "5=z ");
    EXPECT_EQ(told(learning.take({at("mouse"), at("z"), at("a")})), "6=a ");
    EXPECT_EQ(learning.next(), 7);
}

TEST(slots_learnt, are_each_place_once_and_no_place_that_has_a_slot)
{
    learner learning(1, {}, {"taken"});
    EXPECT_EQ(told(learning.take({at("a")})), "1=a ");
    EXPECT_EQ(told(learning.take({})), "");
    EXPECT_EQ(told(learning.take({at("a"), at("taken"), at("")})), "");
    EXPECT_EQ(learning.next(), 2);
}

TEST(slots_learnt, take_the_ports_of_one_adapter_in_their_order)
{
    learner learning(1, {}, {});
    EXPECT_EQ(told(learning.take({at("q port 2"), at("q"), at("q port 1")})),
              "1=q 2=q port 1 3=q port 2 ");
}

TEST(slots_learnt, are_texts_of_the_floors_file)
{
    EXPECT_EQ(slot_text({3, "usb 0000:00:14.0 2:1.0"}),
              "\n[[slot]]\nnumber = 3\nplace = \"usb 0000:00:14.0 2:1.0\"\n");
}

/** A PC with one adapter, of which there is nothing to say. */
examined_pc good_pc()
{
    return {.ports = {{.facts = adapter("/dev/ttyUSB0", "pci-0000:00:14.0-usb-0:2:1.0"),
                       .group = "dialout"}},
            .controllers = {{"0000:00:14.0", 4, 16}}};
}

std::string complaints(const examined_pc &pc)
{
    std::string out;
    for (const auto &each : diagnose(pc)) {
        EXPECT_NE(each.advice, "");
        out += each.what + "\n";
    }
    return out;
}

TEST(diagnosis, says_nothing_of_a_good_pc)
{
    EXPECT_EQ(complaints(good_pc()), "");
    EXPECT_EQ(complaints({}), "");
}

TEST(diagnosis, tells_what_keeps_ports_from_being_used)
{
    auto pc = good_pc();
    pc.ports[0].may_be_used = false;
    pc.ports[0].used_by = {"minicom (1234)"};
    pc.ports[0].facts.path = "";
    EXPECT_EQ(complaints(pc), "/dev/ttyUSB0: this user may not use it\n"
                              "/dev/ttyUSB0 is in use by minicom (1234)\n"
                              "/dev/ttyUSB0 has no stable place: udev gives it no ID_PATH\n");
    EXPECT_NE(diagnose(pc)[0].advice.find("dialout"), std::string::npos);
}

TEST(diagnosis, keeps_modem_managers_off_consoles_by_a_rule)
{
    auto pc = good_pc();
    pc.modem_manager = true;
    const auto told = diagnose(pc);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_NE(told[0].advice.find(R"(ENV{ID_MM_DEVICE_IGNORE}="1")"), std::string::npos);
    pc.ports[0].facts.left_alone = true;
    EXPECT_EQ(complaints(pc), "");
}

TEST(diagnosis, tells_a_braille_daemon_and_what_starts_it)
{
    auto pc = good_pc();
    pc.braille_daemon = true;
    pc.braille_rules = {"90-brltty-device.rules"};
    EXPECT_EQ(complaints(pc), "brltty runs, and takes adapters for braille terminals\n"
                              "udev starts brltty for some adapters, by its rules "
                              "90-brltty-device.rules\n");
    EXPECT_NE(diagnose(pc)[1].advice.find("/etc/udev/rules.d/90-brltty-device.rules"),
              std::string::npos);
}

TEST(diagnosis, counts_the_end_points_of_each_controller)
{
    auto pc = good_pc();
    pc.controllers = {{"a", 30, 89}, {"b", 31, 90}};
    EXPECT_EQ(complaints(pc), "controller b carries 31 devices with 90 end points; many have 96, "
                              "and what comes after those does not appear\n");
}

TEST(diagnosis, misses_the_adapters_of_slots)
{
    auto pc = good_pc();
    pc.wanted = {"usb 0000:00:14.0 2:1.0", "/dev/ttyUSB0", "usb 0000:00:14.0 9:1.0"};
    EXPECT_EQ(complaints(pc), "no adapter at usb 0000:00:14.0 9:1.0\n");
}

} // namespace
