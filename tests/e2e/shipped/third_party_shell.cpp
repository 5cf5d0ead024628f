#include "third_party_shell.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>

outcome shell(const std::string &command)
{
    outcome result;
    FILE *pipe = ::popen(("exec 2>&1; exec " + command).c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    std::array<char, 4096> buffer = {};
    std::size_t count = 0;
    while ((count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) {
        result.output.append(buffer.data(), count);
    }
    const int status = ::pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
}

std::vector<uint8_t> contents(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

scratch_board::scratch_board(const std::string &like_or_text)
{
    std::string pattern = std::filesystem::temp_directory_path() / "simboard-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    folder_ = pattern;
    if (like_or_text.find('\n') != std::string::npos) {
        std::filesystem::create_directory(path());
        std::ofstream(std::filesystem::path(path()) / "board.toml") << like_or_text;
        return;
    }
    const outcome made = shell(SIMBOARD " new " + path() + " --like " + like_or_text);
    if (made.status != 0) {
        throw std::runtime_error(made.output);
    }
}

scratch_board::~scratch_board()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

outcome scratch_board::run(const std::string &program) const
{
    return shell(SIMBOARD " run " + path() + " -- " + program);
}

std::vector<uint8_t> scratch_board::memory(const std::string &file) const
{
    return contents(std::filesystem::path(path()) / file);
}

std::string scratch_board::write(const std::string &name, const std::vector<uint8_t> &content) const
{
    std::ofstream(beside(name), std::ios::binary)
        .write(reinterpret_cast<const char *>(content.data()),
               static_cast<std::streamsize>(content.size()));
    return beside(name);
}

std::string scratch_board::log() const
{
    return shell(SIMBOARD " log " + path()).output;
}
