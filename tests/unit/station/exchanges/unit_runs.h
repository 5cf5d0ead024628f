#pragma once

#include "station/unit_jobs/unit_job.h"
#include "unit/station/job_files.h"
#include "unit/station/scripted_line.h"

/** All of them behind each other. */
inline station::bytes joint(std::initializer_list<station::bytes> pieces)
{
    station::bytes all;
    for (const auto &piece : pieces) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

/** Runs jobs for units on a switch that follows a script. */
class unit_runs : public job_files {
protected:
    using bytes = station::bytes;

    scripted_line far;
    noting_listener observer;
    station::exchange_options options;

    /** The switch shows a banner and takes the start byte. */
    scripted_line &begins(const std::string &banner, std::uint8_t start)
    {
        return far.shows(banner).expects({start}).answers({0x06});
    }

    station::outcome run(const station::unit_job &job)
    {
        station::conversation talk(far, observer);
        auto result = station::run_unit_job(talk, job, options);
        EXPECT_TRUE(far.finished());
        return result;
    }

    /** How each unit came out. */
    static std::vector<std::string> results(const station::unit_job &job,
                                            const station::outcome &result)
    {
        std::vector<std::string> words;
        for (const auto &row : station::unit_table(job, result).rows) {
            words.push_back(row.back());
        }
        return words;
    }

    /** One of the bytes changed. */
    static bytes with(bytes data, std::size_t at, std::uint8_t byte)
    {
        data.at(at) = byte;
        return data;
    }
};
