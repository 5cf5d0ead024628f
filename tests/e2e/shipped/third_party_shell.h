#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/** What a command said, on both of its outputs, and how it ended. */
struct outcome {
    std::string output;
    int status = -1; // of its exit, or -1
    int signal = 0;  // that killed it, or 0
};

/** Runs a command line of the shell to its end. */
outcome shell(const std::string &command);

/** A folder with a board in it, both gone at the end of the test. */
class scratch_board {
public:
    /** Like a named layout ("nor"), or with that text, of more than one line, as its board.toml. */
    explicit scratch_board(const std::string &like_or_text);
    ~scratch_board();
    scratch_board(const scratch_board &) = delete;
    scratch_board &operator=(const scratch_board &) = delete;

    std::string path() const { return folder_ / "board"; }
    /** Runs a program on the board. */
    outcome run(const std::string &program) const;
    /** The bytes of a memory's file. */
    std::vector<uint8_t> memory(const std::string &file) const;
    /** A file beside the board, for what programs read and write: its path. */
    std::string beside(const std::string &name) const { return folder_ / name; }
    /** Makes such a file. */
    std::string write(const std::string &name, const std::vector<uint8_t> &content) const;
    std::string log() const;

private:
    std::filesystem::path folder_;
};

std::vector<uint8_t> contents(const std::filesystem::path &file);
