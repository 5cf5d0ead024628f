#pragma once

#include <memory>

#include "station/product/run.h"
#include "unit/station/product_folder.h"
#include "unit/station/switch_model.h"

/** Notes what a run tells. */
class noting_observer : public station::run_observer {
public:
    std::vector<std::string> told;
    std::string text;
    std::function<void(const std::string &phase)> at_phase;

    void phase(std::string_view what) override
    {
        told.emplace_back(what);
        if (at_phase) {
            at_phase(told.back());
        }
    }
    void step_begins(std::size_t number, std::size_t of, const station::step_record &step) override
    {
        told.push_back(step.operation + " " + std::to_string(number) + "/" + std::to_string(of));
        if (at_phase) {
            at_phase(told.back());
        }
    }
    void step_ended(const station::step_record &step) override
    {
        told.push_back(step.operation + " " + std::string(name_of(step.end)));
    }
    void console(std::string_view shown) override { text += shown; }
};

/** Runs of a product on the model of a switch. */
class provision_runs : public product_folder {
protected:
    switch_model board;
    station::run_options options;
    noting_observer observer;
    std::stop_source stop;

    /** Another board, as new. */
    void renew()
    {
        std::destroy_at(&board);
        std::construct_at(&board);
    }

    station::run_result run()
    {
        return station::provision(board, planned(), options, observer, stop.get_token());
    }

    static std::string words(const station::run_result &result)
    {
        return std::string(name_of(result.end)) + ": " + result.reason;
    }

    /** Whether the board holds what the steps of this folder leave. */
    bool holds_the_job() const
    {
        return board.record("ethaddr") == "00:1A:2B:3C:4D:40" &&
               board.record("SerialNO") == "ABCDEFGHJ1234" &&
               board.record("ProductModel") == "SW-48X6Q";
    }

    void add_backplane() { steps += step("setbackplane", "backplane.toml"); }

    const std::string whole_backplane = "BP type 31\nBP version 1.02\nBP serial_no ABCDEFGHJ1234\n"
                                        "BP mac_addr 00:1A:2B:3C:4D:41\nBP serial_0 0\n"
                                        "BP serial_1 0\nBP serial_2 0\nBP serial_3 7\n";
};
