#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/base/outcome.h"

namespace station {

/** Rows of texts under named columns. */
struct table {
    std::vector<std::string> columns; // in lower case
    std::vector<std::vector<std::string>> rows;
};

/** How an item of a job came out, in a word or two, where the switch answers for all of them. */
std::string_view word_for_items(const outcome &result);

/** All that is told about a run. */
struct report {
    std::string command;
    table items;
    outcome result;
    double seconds = 0;
    std::string console;                // what the switch's console showed
    std::optional<std::string> program; // how the program on the line ended
};

/** An aligned table. */
void print_table(std::FILE *out, const table &items);

/** A JSON string; the text must be ASCII or UTF-8. */
std::string json_text(std::string_view text);

/** The rows as a JSON list of objects. */
std::string json_items(const table &items);

/** Reply bytes as a JSON list of objects. */
std::string json_replies(const std::vector<reply> &replies);

/** An aligned table and the result in a sentence, for people. */
void print_text(std::FILE *out, const report &told);

/** The same as a JSON object, for programs. */
void print_json(std::FILE *out, const report &told);

} // namespace station
