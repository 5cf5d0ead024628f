#include "board_folder.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace e2e {
namespace {

constexpr std::size_t nor_board_size = 12288;

/** A line of the log: time and process, and what was done. */
timed_operation parse_line(const std::string &line)
{
    timed_operation one;
    int process = 0;
    int read = 0;
    std::sscanf(line.c_str(), "%ld %d %n", &one.time_us, &process, &read);
    one.what = line.substr(static_cast<std::size_t>(read));
    return one;
}

bool is_change(const std::string &operation)
{
    return operation.starts_with("erase ") || operation.starts_with("write ");
}

} // namespace

scratch_folder::scratch_folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "e2e-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error(name + " cannot be made");
    }
    path_ = name;
}

scratch_folder::~scratch_folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error(file.string() + " cannot be read");
    }
    std::ostringstream content;
    content << in.rdbuf();
    return std::move(content).str();
}

void write_file(const std::filesystem::path &file, std::string_view content)
{
    std::ofstream out(file, std::ios::binary);
    out << content;
    out.close();
    if (!out) {
        throw std::runtime_error(file.string() + " cannot be written");
    }
}

board_folder::board_folder(
    std::string_view description,
    std::initializer_list<std::pair<std::string_view, std::string_view>> memories)
{
    write_file(path() / "board.toml", description);
    for (const auto &[file, content] : memories) {
        write_file(path() / file, content);
    }
}

std::string board_folder::memory(std::string_view file) const
{
    return read_file(path() / file);
}

std::vector<timed_operation> board_folder::timed_operations() const
{
    std::vector<timed_operation> all;
    std::ifstream log(path() / "log.txt", std::ios::binary);
    for (std::string line; std::getline(log, line);) {
        all.push_back(parse_line(line));
    }
    return all;
}

std::vector<std::string> board_folder::operations() const
{
    std::vector<std::string> all;
    for (timed_operation &one : timed_operations()) {
        all.push_back(std::move(one.what));
    }
    return all;
}

std::vector<std::string> board_folder::operations(std::string_view beginning) const
{
    auto all = operations();
    std::erase_if(all, [&](const std::string &one) { return !one.starts_with(beginning); });
    return all;
}

std::vector<std::string> board_folder::changes() const
{
    auto all = operations();
    std::erase_if(all, [](const std::string &operation) { return !is_change(operation); });
    return all;
}

std::string nor_content(std::string_view image)
{
    std::string content(image);
    content.resize(nor_board_size, '\xFF');
    return content;
}

} // namespace e2e
