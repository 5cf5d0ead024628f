#include <fstream>
#include <iterator>
#include <thread>

#include "unit/floor/slots/floor_fixture.h"

namespace {

using namespace floor_tests;
using shopfloor::answer;

class labels : public floor_fixture {
protected:
    /** A floor whose printer is a command that appends to the file "printed". */
    void describe_printer(const std::string &more_of_product = "", const std::string &command = "")
    {
        write("sw.zpl", "^XA^FD{serial} {label}^FS^XZ\n");
        const auto prints = command.empty() ? "cat >> " + path("printed") : command;
        write("FLOOR.toml", "[floor]\nname = \"Line 3\"\nstation = \"line3\"\n"
                            "[ledger]\nurl = \"sqlite:line.db\"\n"
                            "[printer]\ncommand = '''" +
                                prints +
                                "'''\n"
                                "[[product]]\nfile = \"product.toml\"\nlabel = \"sw.zpl\"\n" +
                                more_of_product +
                                "[[slot]]\nnumber = 1\nexec = \"a model\"\n"
                                "[[slot]]\nnumber = 2\nexec = \"a model\"\n");
    }

    std::string printed() const
    {
        std::ifstream in(path("printed"));
        return {std::istreambuf_iterator<char>(in), {}};
    }

    /** Waits until so many prints have ended, as the ledger tells. */
    json ended_prints(std::size_t count)
    {
        while (true) {
            auto rows = prints().content["rows"];
            std::size_t ended = 0;
            for (const auto &each : rows) {
                ended += each["state"] == "waiting" ? 0 : 1;
            }
            if (ended >= count) {
                return rows;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    answer prints()
    {
        return ask([&](shopfloor::reply to) { floor->prints({}, std::move(to)); });
    }
    answer confirm(int slot, const std::string &code)
    {
        return ask([&](shopfloor::reply to) { floor->confirm(slot, code, std::move(to)); });
    }
    answer print(const std::string &label)
    {
        return ask([&](shopfloor::reply to) { floor->print(label, "0017", std::move(to)); });
    }
    json wait_for_label(int slot)
    {
        return wait_for(slot, [](const json &now) {
            return !now["run"].is_null() && now["run"]["label_back"] == "waiting";
        });
    }
    std::string state_of(const std::string &label) const
    {
        return std::string(ledger::state_text(open_ledger().find(label)->state));
    }
};

TEST_F(labels, of_verified_units_are_printed_and_recorded)
{
    describe_printer();
    open();
    start({.slot = 1, .label = "A", .operator_badge = "0017"});
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    const auto rows = ended_prints(1);
    EXPECT_EQ(printed(), "^XA^FDABCDEFGH00001 A^FS^XZ\n");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0]["label"], "A");
    EXPECT_EQ(rows[0]["number"], 1);
    EXPECT_EQ(rows[0]["operator"], "0017");
    EXPECT_EQ(rows[0]["state"], "printed");
    EXPECT_EQ(open_ledger().check().findings.size(), 0U);
}

TEST_F(labels, are_printed_again_on_request_and_counted)
{
    describe_printer();
    open();
    start(1, "A");
    wait_for_end(1);
    ended_prints(1);
    const auto again = print("A");
    EXPECT_EQ(code(again), "none");
    EXPECT_EQ(again.content["number"], 2);
    ended_prints(2);
    EXPECT_EQ(printed(), "^XA^FDABCDEFGH00001 A^FS^XZ\n^XA^FDABCDEFGH00001 A^FS^XZ\n");
    EXPECT_EQ(code(print("X")), "not_found");
    open_ledger().void_unit("A", "lost", "Ada");
    EXPECT_EQ(code(print("A")), "void");
}

TEST_F(labels, wait_for_a_printer_that_is_off_and_hold_no_slot)
{
    describe_printer("", "test -e " + path("on") + " && cat >> " + path("printed"));
    open();
    start(1, "A");
    start(2, "B");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(words(wait_for_end(2)), "verified PASS");
    json printer;
    while (printer = floor->state()["printer"], printer["waiting"] != 2 || printer["usable"]) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(printer["reason"], "the command of the printer ended with exit status 1");
    EXPECT_EQ(printed(), "");
    write("on", "");
    const auto rows = ended_prints(2);
    EXPECT_EQ(rows[0]["state"], "printed");
    EXPECT_EQ(rows[1]["state"], "printed");
    while (printer = floor->state()["printer"], printer["waiting"] != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(printer["usable"]);
}

TEST_F(labels, wait_over_an_end_of_the_floor)
{
    describe_printer("", "test -e " + path("on") + " && cat >> " + path("printed"));
    open();
    start(1, "A");
    wait_for_end(1);
    close();
    write("on", "");
    open();
    ended_prints(1);
    EXPECT_EQ(printed(), "^XA^FDABCDEFGH00001 A^FS^XZ\n");
}

TEST_F(labels, that_are_being_printed_when_the_floor_ends_are_printed_once)
{
    describe_printer("", "cat >> " + path("printed") + "; sleep 1");
    open();
    start(1, "A");
    wait_for_end(1);
    while (printed().empty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    close();
    const auto known = open_ledger().prints({}, 0, 10);
    ASSERT_EQ(known.size(), 1U);
    EXPECT_EQ(ledger::state_text(known[0].state), "printed");
    EXPECT_EQ(printed(), "^XA^FDABCDEFGH00001 A^FS^XZ\n");
}

TEST_F(labels, that_cannot_be_printed_are_told_with_the_verdict)
{
    describe_printer();
    open();
    start(1, "A^B");
    const auto ended = wait_for_end(1);
    EXPECT_EQ(words(ended), "verified PASS");
    const std::string why = "its label is not printed: label A^B holds a ^ or ~, which printers "
                            "take for a command";
    EXPECT_EQ(ended["run"]["reason"], why);
    EXPECT_EQ(ended["run"]["advice"], "give the unit a label that can be printed");
    auto in = open_ledger();
    const auto attempts = in.attempts_of(*in.find("A^B"));
    ASSERT_EQ(attempts.size(), 1U);
    EXPECT_EQ(attempts[0].reason, "verified: " + why);
    EXPECT_TRUE(in.prints({}, 0, 10).empty());
}

TEST_F(labels, that_are_scanned_back_come_before_the_verdict)
{
    describe_printer("label_code = \"{serial}\"\n");
    open();
    EXPECT_EQ(floor->state()["products"][0]["scan_back"], true);
    EXPECT_EQ(code(confirm(1, "ABCDEFGH00001")), "not_waiting");
    EXPECT_EQ(code(confirm(9, "ABCDEFGH00001")), "no_such_slot");
    start(1, "A");
    const auto waiting = wait_for_label(1);
    EXPECT_EQ(waiting["state"], "running");
    EXPECT_EQ(waiting["run"]["label_code"], "ABCDEFGH00001");
    EXPECT_TRUE(waiting["run"]["verdict"].is_null());
    EXPECT_EQ(state_of("A"), "stored");
    EXPECT_EQ(code(start(1, "B")), "slot_busy");

    const auto wrong = confirm(1, "ABCDEFGH00002");
    EXPECT_EQ(wrong.content["run"]["label_back"], "differs");
    EXPECT_EQ(wrong.content["run"]["label_code"], "ABCDEFGH00001");
    EXPECT_EQ(state_of("A"), "stored");
    EXPECT_EQ(confirm(1, "ABCDEFGH00001").content["run"]["label_back"], "matches");
    const auto ended = wait_for_end(1);
    EXPECT_EQ(words(ended), "verified PASS");
    EXPECT_TRUE(ended["run"]["label_code"].is_null());
    EXPECT_EQ(state_of("A"), "verified");
    EXPECT_EQ(code(confirm(1, "ABCDEFGH00001")), "not_waiting");
}

TEST_F(labels, that_one_slot_waits_for_start_no_unit_in_another)
{
    describe_printer("label_code = \"{serial}\"\n");
    open();
    start(1, "A");
    wait_for_label(1);
    const auto refused = start(2, "ABCDEFGH00001");
    EXPECT_EQ(code(refused), "label_in_work");
    EXPECT_EQ(refused.refused->reason, "slot 1 waits for its printed label ABCDEFGH00001");
    EXPECT_EQ(slot(2)["state"], "idle");
    EXPECT_FALSE(open_ledger().find("ABCDEFGH00001", ledger::search::label));
    confirm(1, "ABCDEFGH00001");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
}

TEST_F(labels, that_nobody_scans_back_leave_a_unit_that_failed)
{
    describe_printer("label_code = \"{serial}\"\n");
    open();
    start(1, "A");
    wait_for_label(1);
    ask([&](shopfloor::reply to) { floor->cancel(1, std::move(to)); });
    const auto ended = wait_for_end(1);
    EXPECT_EQ(words(ended), "cancelled none");
    EXPECT_EQ(ended["run"]["reason"],
              "the switch holds all of it, but its label was not scanned back");
    EXPECT_EQ(state_of("A"), "failed");
    start(1, "A");
    wait_for_label(1);
    confirm(1, "ABCDEFGH00001");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
}

TEST_F(labels, without_a_printer_and_faults_without_a_drill_are_refused)
{
    describe(1);
    open();
    EXPECT_TRUE(floor->state()["printer"].is_null());
    start(1, "A");
    wait_for_end(1);
    EXPECT_EQ(code(print("A")), "no_printer");
    const auto ordered = ask([&](shopfloor::reply to) { floor->order_fault(1, "x", to); });
    EXPECT_EQ(code(ordered), "no_drill");
}

class floor_file_labels : public labels {
protected:
    std::string mistakes_of(const std::string &text)
    {
        write("FLOOR.toml", text);
        try {
            shopfloor::read_floor(path("FLOOR.toml"), false);
            return "";
        } catch (const station::job_error &wrong) {
            return wrong.what();
        }
    }
    const std::string head = "[floor]\nname = \"Line 3\"\n[ledger]\nurl = \"sqlite:line.db\"\n";
};

TEST_F(floor_file_labels, mistakes_are_told_with_their_lines)
{
    write("sw.zpl", "{serial}\n{color}\n");
    const auto file = path("FLOOR.toml");
    EXPECT_NE(mistakes_of(head + "[printer]\naddress = \"host\"\n")
                  .find(file + ":6: \"address\" is \"host\": expected HOST:PORT"),
              std::string::npos);
    EXPECT_NE(mistakes_of(head + "[[product]]\nfile = \"product.toml\"\nlabel = \"sw.zpl\"\n")
                  .find(file + ":7: there is no [printer] for it"),
              std::string::npos);
    EXPECT_NE(mistakes_of(head + "[printer]\ncommand = \"lp\"\n"
                                 "[[product]]\nfile = \"product.toml\"\nlabel = \"sw.zpl\"\n")
                  .find("sw.zpl:2: "),
              std::string::npos);
    EXPECT_NE(mistakes_of(head + "[[fault]]\nname = \"a\"\noptions = \"b\"\n")
                  .find(file + ":5: faults are for drills"),
              std::string::npos);
}

TEST_F(floor_file_labels, a_drill_has_a_ledger_of_its_own_and_no_real_switch)
{
    const std::string drill = "[floor]\nname = \"Drill\"\ndrill = true\n";
    const std::string product = "[[product]]\nfile = \"product.toml\"\n";
    EXPECT_NE(mistakes_of(drill + "[ledger]\nurl = \"sqlite:line.db\"\n" + product)
                  .find("a drill has a ledger of its own"),
              std::string::npos);
    const auto own = drill + "[ledger]\nurl = \"sqlite:drill.db\"\n" + product;
    EXPECT_EQ(mistakes_of(own), "");
    EXPECT_NE(mistakes_of(own + "[[slot]]\nnumber = 1\nplace = \"usb 1-1\"\n")
                  .find("a drill has no real switches"),
              std::string::npos);
}

} // namespace
