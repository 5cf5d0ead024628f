#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "station/product/plan.h"

/** A folder with a product file and its jobs, which is gone after the test. */
class product_folder : public testing::Test {
protected:
    std::string head = "name = \"sw\"\nflavour = \"legacy\"\n";
    std::string values = "[[value]]\nname = \"serial\"\nkind = \"text\"\npattern = "
                         "\"[A-Z0-9]{13}\"\n"
                         "[[value]]\nname = \"mac\"\nkind = \"mac\"\nalign = 64\ncount = 64\n";
    std::string console = "[console]\nprompt = \"# \"\nuser = \"root\"\n";
    std::string identity = "[[identity]]\nrecord = \"SerialNO\"\nblank = [\"0000000000000\"]\n"
                           "[[identity]]\nrecord = \"ethaddr\"\nblank = [\"00:11:22:33:44:55\"]\n";
    std::string steps = "[[step]]\noperation = \"setmac\"\njob = \"identity.toml\"\n";
    station::given_values given = {{"serial", "ABCDEFGHJ1234"}, {"mac", "001A2B3C4D40"}};

    void SetUp() override
    {
        std::filesystem::create_directories(folder());
        write("identity.toml", "[[property]]\nname = \"MacAddress\"\nhex = \"{mac}\"\n"
                               "[[property]]\nname = \"SerialNO\"\ntext = \"{serial}\"\n"
                               "[[property]]\nname = \"ProductModel\"\ntext = \"SW-48X6Q\"\n");
        write("serial.toml", "serial = \"{serial}\"\n");
        write("fan.toml", "[[fan]]\nindex = 1\ntype = 5\nchannel = 0\nserial = "
                          "\"{serial}\"\nhardware = \"1.23\"\n");
        write("backplane.toml", "[backplane]\nmac = \"{mac+1}\"\nserial = \"{serial}\"\ntype = 31\n"
                                "version = \"1.02\"\nserial_3 = 7\n");
    }

    void TearDown() override { std::filesystem::remove_all(folder()); }

    void write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    static std::string path(const std::string &name) { return (folder() / name).string(); }

    static std::string step(const std::string &operation, const std::string &job)
    {
        return "[[step]]\noperation = \"" + operation + "\"\njob = \"" + job + "\"\n";
    }

    station::plan planned() const
    {
        write("product.toml", head + values + console + identity + steps);
        return station::make_plan(station::read_product(path("product.toml")), given, "2024-01-31");
    }

    /** What is told of files that cannot be used, without their folder. */
    std::string told() const
    {
        try {
            planned();
        } catch (const station::job_error &error) {
            std::string text = error.what();
            const auto before = folder().string() + "/";
            for (auto at = text.find(before); at != std::string::npos; at = text.find(before)) {
                text.erase(at, before.size());
            }
            return text;
        }
        return "nothing";
    }

private:
    static std::filesystem::path folder()
    {
        const auto *test = testing::UnitTest::GetInstance()->current_test_info();
        return std::filesystem::path(testing::TempDir()) /
               (std::string("station_") + test->test_suite_name() + "_" + test->name());
    }
};
