#include <string>

#include "fuzz/memory_file.h"
#include "station/jobs/product_info.h"
#include "station/product/operations.h"

// Job files of any content, for every command in each flavour.

namespace {

/** Prepares the job as a command of the station, and requires what holds for all that are right. */
void prepare(const station::command &command, bool tlv, const station::job_table &job,
             station::mistakes &wrong)
{
    const auto reader =
        tlv && command.prepare_tlv != nullptr ? command.prepare_tlv : command.prepare;
    const auto ready = reader(job, wrong);
    wrong.check();
    const auto items = ready.items({});
    fuzz::require(!items.rows.empty(), "a right job is about something");
    for (const auto &row : items.rows) {
        fuzz::require(row.size() == items.columns.size(), "every row has all columns");
    }
}

void preview(bool tlv, const station::job_table &job, station::mistakes &wrong)
{
    const auto shown = tlv ? station::preview_of_tlv(job, wrong) : station::preview_of(job, wrong);
    wrong.check();
    fuzz::require(!shown.lines.empty() || !shown.remark.empty(),
                  "a preview shows or says something");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const uint8_t choice = in.choice();
    const bool tlv = fuzz::chosen(choice, 7);
    const auto path = fuzz::file_with(in.rest());
    const auto commands = station::all_commands();
    const size_t which = choice % 8;
    try {
        const auto job = station::read_job_file(path);
        station::mistakes wrong(path);
        if (which < commands.size()) {
            prepare(commands[which], tlv, job, wrong);
        } else {
            preview(tlv, job, wrong);
        }
    } catch (const station::job_error &told) {
        fuzz::require(std::string_view(told.what()).starts_with(path + ":"),
                      "a mistake is told with its file");
    }
    return 0;
}
