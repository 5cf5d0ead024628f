#include "sim/base/memory.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace sim {
namespace {

[[noreturn]] void fail(const std::filesystem::path &file)
{
    throw std::system_error(errno, std::generic_category(), file.string());
}

/** A descriptor that is closed with its block. */
class descriptor {
public:
    descriptor(const std::filesystem::path &file, int flags)
        : fd_(::open(file.c_str(), flags | O_CLOEXEC, 0666))
    {
        if (fd_ < 0) {
            fail(file);
        }
    }
    ~descriptor() { ::close(fd_); }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

/** Writes a new file under another name first, so that none is ever seen half made. */
void make_file(const std::filesystem::path &file, const std::vector<uint8_t> &content)
{
    const std::filesystem::path draft = file.string() + "." + std::to_string(::getpid());
    {
        const descriptor out(draft, O_WRONLY | O_CREAT | O_TRUNC);
        std::size_t done = 0;
        while (done < content.size()) {
            const ssize_t count = ::write(out.get(), content.data() + done, content.size() - done);
            if (count < 0) {
                fail(draft);
            }
            done += static_cast<std::size_t>(count);
        }
    }
    std::filesystem::rename(draft, file);
}

std::vector<uint8_t> filled_up(std::vector<uint8_t> content, std::size_t size)
{
    content.resize(size, 0xFF);
    return content;
}

} // namespace

memory::memory(std::size_t size, std::vector<uint8_t> content)
    : own_(filled_up(std::move(content), size)), bytes_(own_)
{
}

memory::memory(const std::filesystem::path &file, std::size_t size, std::vector<uint8_t> content)
{
    if (!std::filesystem::exists(file)) {
        make_file(file, filled_up(std::move(content), size));
    }
    const descriptor in(file, O_RDWR);
    struct stat status = {};
    if (::fstat(in.get(), &status) != 0) {
        fail(file);
    }
    if (static_cast<std::size_t>(status.st_size) != size) {
        throw std::runtime_error(file.string() + ": holds " + std::to_string(status.st_size) +
                                 " bytes, but board.toml describes a memory of " +
                                 std::to_string(size));
    }
    void *place = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, in.get(), 0);
    if (place == MAP_FAILED) {
        fail(file);
    }
    bytes_ = {static_cast<uint8_t *>(place), size};
}

memory::~memory()
{
    if (own_.empty()) {
        ::munmap(bytes_.data(), bytes_.size());
    }
}

} // namespace sim
