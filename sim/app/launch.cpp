#include "sim/app/launch.h"

#include "sim/board/process_board.h"

#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

namespace sim {
namespace {

namespace fs = std::filesystem;

/** Where the build has it, or else where the installation does. */
fs::path find_library()
{
    for (const char *folder : {"lib", SIMBOARD_LIBDIR}) {
        const fs::path library = own_folder() / ".." / folder / "libsimboard.so";
        if (fs::exists(library)) {
            return fs::canonical(library);
        }
    }
    throw std::runtime_error("libsimboard.so is missing from " +
                             (own_folder().parent_path() / SIMBOARD_LIBDIR).string());
}

/** A path in front of those that a variable lists. */
std::string put_first(const char *variable, std::string path)
{
    if (const char *others = std::getenv(variable); others != nullptr && *others != '\0') {
        path.append(":").append(others);
    }
    return path;
}

} // namespace

fs::path own_folder()
{
    return fs::read_symlink("/proc/self/exe").parent_path();
}

std::string find_program(const std::string &name)
{
    const fs::path built = own_folder() / name;
    const bool is_ours = name.find('/') == std::string::npos && ::access(built.c_str(), X_OK) == 0;
    return is_ours ? built.string() : name;
}

variables variables_of_board(const fs::path &folder)
{
    const fs::path library = find_library();
    return {{"LD_PRELOAD", put_first("LD_PRELOAD", library.string())},
            {"LD_LIBRARY_PATH", put_first("LD_LIBRARY_PATH", library.parent_path().string())},
            {folder_variable, fs::canonical(folder).string()}};
}

} // namespace sim
