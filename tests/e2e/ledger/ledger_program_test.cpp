#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "e2e/support/program.h"

namespace {

namespace fs = std::filesystem;

/** The program as it ships, on a ledger in a folder of its own. */
class ledger_program : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = (fs::temp_directory_path() / "ledger-e2e-XXXXXX").string();
        folder_ = mkdtemp(name.data());
    }

    void TearDown() override { fs::remove_all(folder_); }

    std::string path(const std::string &name) const { return (folder_ / name).string(); }

    e2e::outcome run(e2e::command_line words, std::string_view input = {}) const
    {
        words.insert(words.begin(), "setmac-ledger");
        return e2e::run(words, {{"SETMAC_LEDGER", "sqlite:" + path("line.db")}}, input);
    }

    /** What it prints, where it ends well. */
    std::string told(const e2e::command_line &words, std::string_view input = {}) const
    {
        const auto ended = run(words, input);
        EXPECT_EQ(ended.status, 0) << ended;
        EXPECT_EQ(ended.errors, "");
        return ended.output;
    }

    void make_office() const
    {
        told({"init"});
        told({"pool", "add", "mac", "office", "--first", "00:1A:2B:00:00:00", "--last",
              "00:1A:2B:00:FF:FF", "--count", "64", "--align", "64"});
        told({"pool", "add", "serial", "office-sn", "--pattern", "ABCD{n:9}"});
        told({"product", "add", "SW-48X6Q", "--mac", "office", "--serial", "office-sn"});
    }

    void write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }

private:
    fs::path folder_;
};

const std::string first_identity =
    "{\"label\": \"L1\", \"product\": \"SW-48X6Q\", \"serial\": \"ABCD000000001\", "
    "\"mac\": \"00:1A:2B:00:00:00\", \"mac_count\": 64, \"state\": \"reserved\"";

TEST_F(ledger_program, does_word_for_word_what_scripts_rely_on)
{
    const auto db = "sqlite:" + path("line.db");
    EXPECT_EQ(e2e::run({"setmac-ledger", "--db", db, "init"}, {}).status, 0);
    for (const e2e::command_line &words : {
             e2e::command_line{"pool", "add", "mac", "office", "--first", "00:1A:2B:00:00:00",
                               "--last", "00:1A:2B:00:FF:FF", "--count", "64", "--align", "64"},
             {"pool", "add", "serial", "office-sn", "--pattern", "ABCD{yy}{ww}{n:5}"},
             {"product", "add", "SW-48X6Q", "--mac", "office", "--serial", "office-sn"},
             {"product", "add", "S", "--mac", "office", "--serial", "scanned"},
             {"product", "add", "M", "--mac", "scanned", "--serial", "office-sn"},
         }) {
        e2e::command_line line{"setmac-ledger", "--db", db};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(e2e::run(line, {}).status, 0) << words[2];
    }
    const auto given = told({"reserve", "L1", "--product", "SW-48X6Q", "--json"});
    EXPECT_EQ(given.substr(0, given.find("ABCD")),
              "{\"label\": \"L1\", \"product\": \"SW-48X6Q\", \"serial\": \"");
    EXPECT_EQ(given.substr(given.find("\", \"mac\"")),
              "\", \"mac\": \"00:1A:2B:00:00:00\", \"mac_count\": 64, \"state\": \"reserved\"}\n");
    EXPECT_EQ(told({"void", "L1", "--reason", "torn", "--by", "Ada", "--json"}).find("L1"), 11U);
    EXPECT_EQ(run({"check"}).status, 0);
}

TEST_F(ledger_program, tells_what_init_did)
{
    EXPECT_EQ(told({"init"}), "A new ledger is made.\n");
    EXPECT_EQ(told({"init"}), "There is a ledger already; it keeps all that it holds.\n");
    EXPECT_EQ(told({"init", "--make-witness", path("second")}),
              "There is a ledger already; it keeps all that it holds.\n"
              "Its witness is kept in " +
                  path("second") + ".\n");
}

TEST_F(ledger_program, finds_the_same_object_with_its_attempts)
{
    make_office();
    EXPECT_EQ(told({"reserve", "L1", "--product", "SW-48X6Q", "--json"}), first_identity + "}\n");
    for (const auto *what : {"L1", "ABCD000000001", "00:1A:2B:00:00:3F", "001a2b000000"}) {
        EXPECT_EQ(told({"find", what, "--json"}), first_identity + ", \"attempts\": []}\n");
    }
    EXPECT_EQ(told({"find", "L1"}), "Label    L1\n"
                                    "Product  SW-48X6Q\n"
                                    "Serial   ABCD000000001\n"
                                    "MAC      00:1A:2B:00:00:00 to 00:1A:2B:00:00:3F\n"
                                    "State    reserved\n");
    const auto missing = run({"find", "L2"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors, "setmac-ledger: nothing is known of L2\n");
}

TEST_F(ledger_program, shows_tables_to_people)
{
    make_office();
    EXPECT_EQ(told({"reserve", "L1", "--product", "SW-48X6Q"}),
              "Label  Product   Serial         MAC                                     State\n"
              "L1     SW-48X6Q  ABCD000000001  00:1A:2B:00:00:00 to 00:1A:2B:00:00:3F  reserved\n");
    const auto pools = told({"pool", "list"});
    EXPECT_EQ(
        pools.substr(0, pools.find("  1     ")),
        "Pool       Numbers                                            Issued  Void  Left       "
        "Used  Lasts\n"
        "office     00:1A:2B:00:00:00 to 00:1A:2B:00:FF:FF, 64 a unit");
    EXPECT_EQ(told({"product", "list"}), "Product   MAC     Addresses  Serial\n"
                                         "SW-48X6Q  office  64         office-sn\n");
    EXPECT_EQ(told({"check"}), "5 entries and 1 units fit together; there is no witness.\n");
    const auto history = told({"history", "L1"});
    EXPECT_NE(history.find("reserve  reserved\n"), std::string::npos) << history;
}

TEST_F(ledger_program, refuses_a_source_whose_name_was_left_empty)
{
    make_office();
    for (const auto *option : {"--mac", "--serial"}) {
        const auto *other = option == std::string("--mac") ? "--serial" : "--mac";
        for (const auto *text : {"", "scanned:"}) {
            const auto refused = run({"product", "add", "P", option, text, other, "scanned"});
            EXPECT_EQ(refused.status, 1);
            EXPECT_EQ(refused.errors,
                      "setmac-ledger: \"" + std::string(text) +
                          "\" is no source: a pool's name, scanned, scanned:POOL or none is one\n");
        }
    }
    EXPECT_EQ(told({"product", "list"}).find("P  "), std::string::npos);
}

TEST_F(ledger_program, warns_of_a_pool_that_comes_to_its_end)
{
    told({"init"});
    told({"pool", "add", "serial", "few", "--pattern", "X{n:1}", "--start", "0"});
    told({"product", "add", "P", "--serial", "few"});
    for (int number = 1; number < 8; ++number) {
        told({"reserve", std::to_string(number), "--product", "P"});
    }
    const auto eighth = run({"reserve", "8", "--product", "P", "--json"});
    EXPECT_EQ(eighth.output,
              "{\"label\": \"8\", \"product\": \"P\", \"serial\": \"X7\", \"mac\": null, "
              "\"mac_count\": 0, \"state\": \"reserved\"}\n");
    EXPECT_EQ(eighth.errors,
              "setmac-ledger: warning: the pool few is used to 80 per cent or more: 80 "
              "per cent\n");
    const auto list = told({"pool", "list", "--json"});
    EXPECT_NE(list.find("\"used_percent\": 80"), std::string::npos) << list;
    EXPECT_NE(told({"pool", "list"}).find("Warning: the pool few"), std::string::npos);
}

TEST_F(ledger_program, imports_all_or_nothing_and_exports_what_there_is)
{
    make_office();
    write("bad.csv", "label,product,serial\nA,SW-48X6Q,S1\nA,SW-48X6Q,S2\nB,NONE,S3\n");
    const auto bad = run({"import", path("bad.csv")});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.errors, path("bad.csv") + ": line 3: the label A is there already\n" +
                              path("bad.csv") + ": line 4: there is no product NONE\n" +
                              "setmac-ledger: nothing is imported: 2 of 3 lines are wrong\n");
    EXPECT_EQ(told({"import", "-"}, "label,product,serial,mac\nA,SW-48X6Q,S1,00:1A:2B:00:01:00\n"),
              "1 units are imported.\n");
    const auto csv = told({"export"});
    EXPECT_EQ(csv.substr(0, csv.find("stored,") + 7),
              "label,product,serial,mac,mac_count,state,reserved_at,changed_at\n"
              "A,SW-48X6Q,S1,00:1A:2B:00:01:00,64,stored,");
    const auto lines = told({"export", "--format", "jsonl", "--state", "stored"});
    EXPECT_EQ(lines.substr(0, lines.find("\"stored\"")),
              "{\"label\": \"A\", \"product\": \"SW-48X6Q\", \"serial\": \"S1\", \"mac\": "
              "\"00:1A:2B:00:01:00\", \"mac_count\": 64, \"state\": ");
    EXPECT_EQ(told({"export", "--format", "jsonl", "--state", "void"}), "");
}

TEST_F(ledger_program, exports_by_times_only_that_are_some)
{
    make_office();
    told({"reserve", "L1", "--product", "SW-48X6Q"});
    const auto head = "label,product,serial,mac,mac_count,state,reserved_at,changed_at\n";
    EXPECT_EQ(told({"export", "--until", "2000-01-01T08:30:00Z"}), head);
    EXPECT_NE(told({"export", "--since", "2000-01-01"}).find("\nL1,"), std::string::npos);
    for (const auto *option : {"--since", "--until"}) {
        for (const auto *text : {"21.11.2026", "yesterday", "", "2026-02-30", "2026-11-21T25:00"}) {
            const auto refused = run({"export", option, text});
            EXPECT_EQ(refused.status, 2) << refused;
            EXPECT_EQ(refused.output, "");
            EXPECT_NE(refused.errors.find(" is no time, as in 2026-11-21 or 2026-11-21T23:28:00"),
                      std::string::npos)
                << refused;
        }
    }
}

TEST_F(ledger_program, refuses_an_older_copy_until_it_is_reconciled)
{
    make_office();
    told({"witness", "set", path("second")});
    told({"reserve", "L1", "--product", "SW-48X6Q"});
    told({"backup", "sqlite:" + path("copy.db")});
    told({"reserve", "L2", "--product", "SW-48X6Q"});
    EXPECT_EQ(told({"witness", "show"}),
              "Witness  " + path("second") + "\nEntries  7, of which the witness has seen 7\n");
    fs::rename(path("copy.db"), path("line.db"));
    const auto refused = run({"reserve", "L3", "--product", "SW-48X6Q"});
    EXPECT_EQ(refused.status, 5);
    EXPECT_EQ(
        refused.errors,
        "setmac-ledger: the ledger is older than its witness: it ends with entry 6, and entry 7 "
        "is missing; nothing is issued before \"setmac-ledger reconcile\"\n");
    const auto shown = run({"witness", "show"});
    EXPECT_EQ(shown.status, 5);
    EXPECT_NE(shown.output.find("unit L2  reserve\n"), std::string::npos) << shown.output;
    EXPECT_EQ(run({"check"}).status, 1);
    EXPECT_EQ(told({"reconcile", "--reason", "disk", "--by", "Ada"}),
              "label L2: serial number ABCD000000002, MAC address 00:1A:2B:00:00:40\n"
              "the witness of the missing entries is kept as " +
                  path("second") + ".until-7\n");
    EXPECT_NE(told({"reserve", "L3", "--product", "SW-48X6Q"}).find("00:1A:2B:00:00:80"),
              std::string::npos);
    EXPECT_EQ(run({"check"}).status, 0);
}

TEST_F(ledger_program, refuses_bad_labels_and_loses_nothing)
{
    make_office();
    for (const std::string &label : {std::string("A\x01"), std::string(10240, 'A'),
                                     std::string("\xD0\x90"), std::string(), std::string(" A")}) {
        const auto refused = run({"reserve", label, "--product", "SW-48X6Q"});
        EXPECT_EQ(refused.status, 1) << refused;
        EXPECT_NE(refused.errors, "");
    }
    EXPECT_EQ(told({"check"}), "4 entries and 0 units fit together; there is no witness.\n");
}

TEST_F(ledger_program, ends_with_the_status_that_it_documents)
{
    EXPECT_EQ(run({"check"}).status, 3);
    make_office();
    EXPECT_EQ(run({"reserve", "L1"}).status, 2);
    EXPECT_EQ(run({}).status, 2);
    EXPECT_EQ(run({"paint"}).status, 2);
    EXPECT_EQ(run({"export", "--format", "xml"}).status, 2);
    EXPECT_EQ(run({"void", "L1", "--reason", "x"}).status, 2);
    EXPECT_EQ(run({"void", "L1", "--reason", "x", "--by", "Ada"}).status, 1);
    EXPECT_EQ(run({"--db", "elsewhere", "check"}).status, 1);
    EXPECT_EQ(run({"--db", "postgresql:///x?host=/nonexistent", "check"}).status, 3);
    EXPECT_EQ(run({"--version"}).status, 0);
}

TEST_F(ledger_program, tells_when_it_cannot_write_its_answer)
{
    make_office();
    const auto ended = e2e::run({"/bin/sh", "-c",
                                 e2e::program_file("setmac-ledger") +
                                     " --db sqlite:" + path("line.db") + " export >/dev/full"},
                                {});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "setmac-ledger: cannot write the answer: No space left on device\n");
}

} // namespace
