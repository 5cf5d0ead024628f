#include "fuzz/memory_file.h"
#include "station/product/product_file.h"

// Product files of any content, the forms of their values, and texts with places for those.

namespace {

const station::given_values given = {
    {"serial", "ABCDEFGHJ1234"}, {"mac", "00:1A:2B:3C:4D:40"}, {"n", "7"}, {"made", "2024-01-31"}};

/** Looks at the values with forms of the file's own, and fills them into its own texts. */
void fill(const station::job_table &table, station::mistakes &wrong)
{
    const auto forms = station::read_value_forms(table, wrong);
    wrong.check();
    station::given_values stored;
    for (const auto &form : forms) {
        const auto found = given.find(form.name);
        const auto value = station::check_value(form, found == given.end() ? "" : found->second);
        if (value.complaint.empty()) {
            stored.emplace(form.name, value.text);
        }
    }
    filled(table, {forms, stored, "2024-01-31"}, wrong);
    wrong.check();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const bool whole = fuzz::chosen(in.choice(), 0);
    const auto path = fuzz::file_with(in.rest());
    try {
        if (whole) {
            const auto found = station::read_product(path);
            fuzz::require(!found.steps.empty() && !found.identity.empty() && !found.values.empty(),
                          "a right product has values, an identity and steps");
        } else {
            station::mistakes wrong(path);
            fill(station::read_job_file(path), wrong);
        }
    } catch (const station::job_error &told) {
        fuzz::require(std::string_view(told.what()).starts_with(path + ":"),
                      "a mistake is told with its file");
    }
    return 0;
}
