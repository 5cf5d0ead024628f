#include "floor/model/floor_file.h"

#include "unit/floor/slots/floor_fixture.h"

namespace {

using shopfloor::read_floor;

class floor_file : public floor_tests::floor_fixture {
protected:
    const std::string head = "[floor]\nname = \"Line 3\"\nstation = \"line3\"\n";
    const std::string ledger = "[ledger]\nurl = \"sqlite:line.db\"\n";
    const std::string product = "[[product]]\nfile = \"product.toml\"\n";
    const std::string slot = "[[slot]]\nnumber = 3\nplace = \"usb 1-1.4\"\n";

    /** What is told of a file, without its folder. */
    std::string told(const std::string &text, bool with_slots = true) const
    {
        write("FLOOR.toml", text);
        try {
            read_floor(path("FLOOR.toml"), with_slots);
        } catch (const station::job_error &mistakes) {
            std::string out = mistakes.what();
            const auto before = path("");
            for (auto at = out.find(before); at != std::string::npos; at = out.find(before)) {
                out.erase(at, before.size());
            }
            return out;
        }
        return "nothing";
    }
};

TEST_F(floor_file, is_read_with_what_is_not_told)
{
    write("FLOOR.toml", head + ledger + product + slot);
    const auto described = read_floor(path("FLOOR.toml"));
    EXPECT_EQ(described.name, "Line 3");
    EXPECT_EQ(described.station, "line3");
    EXPECT_FALSE(described.drill);
    EXPECT_EQ(described.ledger, "sqlite:" + path("line.db"));
    EXPECT_EQ(described.listen, "127.0.0.1");
    EXPECT_EQ(described.port, 8440);
    EXPECT_EQ(described.slot_code, "SLOT-");
    ASSERT_EQ(described.products.size(), 1U);
    EXPECT_EQ(described.products[0].what.name, "SW");
    ASSERT_EQ(described.slots.size(), 1U);
    EXPECT_EQ(described.slots[0].number, 3);
    EXPECT_EQ(described.slots[0].place, "usb 1-1.4");
    EXPECT_EQ(described.slots[0].baud, 115200);
    EXPECT_EQ(described.slots[0].products, std::vector<std::string>{"SW"});
}

TEST_F(floor_file, is_read_with_all_that_it_may_hold)
{
    write("FLOOR.toml", "[floor]\nname = \"Line 3\"\nstation = \"line3\"\ndrill = true\n"
                        "[ledger]\nurl = \"sqlite:drill.db\"\nwitness = \"w/itness\"\n"
                        "[server]\nlisten = \"::1\"\nport = 0\nhosts = [\"floor\"]\n"
                        "origins = [\"https://floor\"]\n"
                        "[codes]\nslot = \"S/\"\noperator = \"O/\"\nprefix = \"~\"\n"
                        "[[product]]\nfile = \"product.toml\"\nlabel_code = \"{serial}\"\n"
                        "[[slot]]\nnumber = 1\nexec = \"cat\"\nbaud = 9600\nproducts = [\"SW\"]\n");
    const auto described = read_floor(path("FLOOR.toml"));
    EXPECT_TRUE(described.drill);
    EXPECT_EQ(described.ledger, "sqlite:" + path("drill.db"));
    EXPECT_EQ(described.witness, path("w/itness"));
    EXPECT_EQ(described.listen, "::1");
    EXPECT_EQ(described.port, 0);
    EXPECT_EQ(described.hosts, std::vector<std::string>{"floor"});
    EXPECT_EQ(described.origins, std::vector<std::string>{"https://floor"});
    EXPECT_EQ(described.slot_code, "S/");
    EXPECT_EQ(described.operator_code, "O/");
    EXPECT_EQ(described.prefix, "~");
    EXPECT_TRUE(described.products[0].scan_back());
    EXPECT_EQ(described.slots[0].exec, "cat");
    EXPECT_EQ(described.slots[0].baud, 9600);
}

TEST_F(floor_file, may_name_a_ledger_on_a_server)
{
    write("FLOOR.toml", head + "[ledger]\nurl = \"postgresql://db/line\"\n" + product + slot);
    EXPECT_EQ(read_floor(path("FLOOR.toml")).ledger, "postgresql://db/line");
}

TEST_F(floor_file, may_lack_slots_only_where_they_are_learnt)
{
    EXPECT_EQ(told(head + ledger + product),
              "FLOOR.toml:1: no slot: expected at least one [[slot]]");
    EXPECT_EQ(told(head + ledger + product, false), "nothing");
}

TEST_F(floor_file, is_told_all_of_its_mistakes_at_once)
{
    EXPECT_EQ(told("[floor]\nname = \"\"\nstation = \"s\"\n[ledger]\nurl = \"mysql:x\"\n"
                   "[codes]\nslot = \"A\"\noperator = \"AB\"\n" +
                   product +
                   "[[slot]]\nnumber = 0\nplace = \"a\"\nexec = \"b\"\n"
                   "[[slot]]\nnumber = 2\nplace = \"a\"\nbaud = 1234\n"
                   "[[slot]]\nnumber = 2\nexec = \"b\"\nproducts = [\"OTHER\"]\n"),
              "FLOOR.toml:2: the name is empty\n"
              "FLOOR.toml:5: \"url\" is \"mysql:x\": expected sqlite:FILE or "
              "postgresql://HOST/NAME\n"
              "FLOOR.toml:6: codes of slots and of operators cannot be told apart: expected none "
              "to begin like the other\n"
              "FLOOR.toml:11: expected either \"place\", where the serial port is (setmac-floor "
              "learn writes it), or \"exec\", a program in its stead\n"
              "FLOOR.toml:12: \"number\" is 0: expected a whole number from 1 to 9999\n"
              "FLOOR.toml:17: slot 0 has the place \"a\" already\n"
              "FLOOR.toml:18: \"baud\" is 1234: expected one of 9600, 19200, 38400, 57600, 115200, "
              "230400, 921600\n"
              "FLOOR.toml:20: a second slot 2, after that of line 15\n"
              "FLOOR.toml:22: there is no product \"OTHER\" in the files of [[product]]");
}

TEST_F(floor_file, is_told_by_what_it_could_never_be_reached)
{
    EXPECT_EQ(told(head + ledger + product + slot +
                   "[server]\nlisten = \"localhost\"\n"
                   "hosts = [\"line3-pc:8440\", \"https://floor.example.com\", \"\"]\n"
                   "origins = [\"https://floor.example.com/\", \"floor.example.com\",\n"
                   "\"http://line3-pc:8440\", \"https://\"]\n"),
              "FLOOR.toml:12: \"listen\": \"localhost\": expected an address of this machine in "
              "numbers, as 127.0.0.1 or ::1\n"
              "FLOOR.toml:13: \"hosts\": \"https://floor.example.com\": expected names as "
              "browsers send them, as floor.example.com or line3-pc:8440\n"
              "FLOOR.toml:13: \"hosts\": \"\": expected names as browsers send them, as "
              "floor.example.com or line3-pc:8440\n"
              "FLOOR.toml:14: \"origins\": \"https://floor.example.com/\": expected no more than "
              "http:// or https:// and a name, as https://floor.example.com\n"
              "FLOOR.toml:14: \"origins\": \"floor.example.com\": expected no more than http:// "
              "or https:// and a name, as https://floor.example.com\n"
              "FLOOR.toml:14: \"origins\": \"https://\": expected no more than http:// or "
              "https:// and a name, as https://floor.example.com");
}

TEST_F(floor_file, may_listen_at_any_address_in_numbers)
{
    for (const auto *address : {"0.0.0.0", "192.168.7.1", "::", "fe80::1%lo"}) {
        EXPECT_EQ(told(head + ledger + product + slot + "[server]\nlisten = \"" + address + "\"\n"),
                  "nothing")
            << address;
    }
}

TEST_F(floor_file, has_a_number_for_its_printers_port)
{
    const auto printer_at = [&](const std::string &address) {
        return told(head + ledger + product + slot + "[printer]\naddress = \"" + address + "\"\n");
    };
    EXPECT_EQ(printer_at("10.0.0.9:9100"), "nothing");
    for (const auto *address : {":9100", "10.0.0.9", "10.0.0.9:", "10.0.0.9:abc", "10.0.0.9:0",
                                "10.0.0.9:65536", "10.0.0.9:100000"}) {
        EXPECT_EQ(printer_at(address), std::string("FLOOR.toml:12: \"address\" is \"") + address +
                                           "\": expected HOST:PORT, as in \"10.0.0.9:9100\"");
    }
}

TEST_F(floor_file, has_no_two_faults_of_one_name_and_no_slot_without_products)
{
    EXPECT_EQ(told("[floor]\nname = \"Line 3\"\nstation = \"line3\"\ndrill = true\n"
                   "[ledger]\nurl = \"sqlite:drill.db\"\n" +
                   product +
                   "[[slot]]\nnumber = 3\nexec = \"cat\"\nproducts = []\n"
                   "[[fault]]\nname = \"noise\"\noptions = \"--a\"\n"
                   "[[fault]]\nname = \"noise\"\noptions = \"--b\"\n"),
              "FLOOR.toml:12: \"products\" is a list: expected a list of texts\n"
              "FLOOR.toml:17: a second fault \"noise\": expected each name once");
}

TEST_F(floor_file, tells_the_mistakes_of_its_product_files)
{
    write("product.toml", "name = \"SW\"\n");
    const auto text = told(head + ledger + product + slot);
    EXPECT_NE(text.find("product.toml:1: missing \"flavour\""), std::string::npos) << text;
}

} // namespace
