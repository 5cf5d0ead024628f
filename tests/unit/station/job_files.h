#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "station/jobs/job_file.h"

/** A job file that is gone after the test. */
class job_files : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directories(folder()); }
    void TearDown() override { std::filesystem::remove_all(folder()); }

    static std::string path() { return (folder() / "job.toml").string(); }

    static station::job_table read(const std::string &text)
    {
        std::ofstream(path(), std::ios::binary) << text;
        return station::read_job_file(path());
    }

    /** What a reader of jobs makes of a text. Throws job_error when there are mistakes in it. */
    template <class job_reader>
    static auto read_as(job_reader reader, const std::string &text)
    {
        station::mistakes wrong("job");
        auto found = reader(read(text), wrong);
        wrong.check();
        return found;
    }

    /** What is told of a job that cannot be used. */
    template <class job_reader>
    static std::string told_by(job_reader reader, const std::string &text)
    {
        try {
            read_as(reader, text);
        } catch (const station::job_error &error) {
            return error.what();
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
