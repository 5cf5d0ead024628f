#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace station {

/** A job file that cannot be used. The text holds a line for each mistake: "FILE:LINE: what". */
class job_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Gathers the mistakes of a job file, so that all of them are told at once. */
class mistakes {
public:
    explicit mistakes(std::string file) : file_(std::move(file)) {}

    void add(int line, std::string what) { found_.emplace_back(line, std::move(what)); }

    /** Throws job_error when there are any, in the order of their lines. */
    void check() const;

private:
    std::string file_;
    std::vector<std::pair<int, std::string>> found_;
};

struct job_table;

/** A table on its own, as in [key]. */
using single_table = std::shared_ptr<const job_table>;

/** Texts, as in ["a", "b"]. */
using text_list = std::vector<std::string>;

/** A value of a kind that no job uses, as in "a date". */
struct other_value {
    std::string kind;
};

struct job_value {
    std::variant<std::string, std::int64_t, std::vector<job_table>, single_table, other_value,
                 text_list, bool>
        what;
    int line = 1;
    std::optional<std::int64_t> number; // of a text that may also stand for one

    /** "a text", "a whole number", ... */
    std::string kind() const;
};

/** A table of a job file, as it was read: what each value is, and on which line it stands. */
struct job_table {
    /** The table's values by their keys. */
    std::map<std::string, job_value, std::less<>> values;
    int line = 1;

    bool has(std::string_view key) const { return values.find(key) != values.end(); }

    /** The key's line, or the table's where the key is missing. */
    int line_of(std::string_view key) const;

    /**
     * The text or whole number of a key. Where it is missing or something else, that is a mistake;
     * expected says what should stand there, as in "a text, as in name = \"SerialNO\"".
     */
    std::optional<std::string> text(std::string_view key, std::string_view expected,
                                    mistakes &wrong) const;
    std::optional<std::int64_t> number(std::string_view key, std::string_view expected,
                                       mistakes &wrong) const;

    /** The text or true or false of a key that may be missing: then the one given here. */
    std::string text_or(std::string_view key, std::string_view otherwise, mistakes &wrong) const;
    bool flag_or(std::string_view key, bool otherwise, mistakes &wrong) const;

    /** The texts of a key that may be missing. */
    text_list texts(std::string_view key, mistakes &wrong) const;

    /** The tables of a list, as in [[key]]; empty, and a mistake, where there are none. */
    std::span<const job_table> tables(std::string_view key, mistakes &wrong) const;

    /** The table of a key, as in [key]; null, and a mistake, where there is none. */
    const job_table *table(std::string_view key, mistakes &wrong) const;

    /** Every key but these is a mistake. */
    void allow_only(std::initializer_list<std::string_view> keys, mistakes &wrong) const;
};

/** Reads a TOML file. Throws job_error when it cannot be read or is no TOML. */
job_table read_job_file(const std::string &path);

} // namespace station
