#include "ledger/witness/witness.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "ledger/model/error.h"
#include "ledger/model/records.h"

namespace ledger {

namespace {

constexpr int readable_by_all = 0644;
constexpr std::int64_t first_look = 65536; // bytes at the end, which hold the last line mostly

std::string start_line(const witnessed &start)
{
    const json form{
        {"witness", 1}, {"ledger", start.ledger}, {"number", start.number}, {"hash", start.hash}};
    return form.dump() + "\n";
}

[[noreturn]] void fail_on(const std::string &path, const std::string &what)
{
    throw error(trouble::unusable, "the witness " + path + " " + what);
}

void write_all(int file, std::string_view text, const std::string &path)
{
    while (!text.empty()) {
        const auto done = ::write(file, text.data(), text.size());
        if (done < 0 && errno != EINTR) {
            fail_on(path, "cannot be written: " + std::string(std::strerror(errno)));
        }
        text.remove_prefix(done > 0 ? static_cast<std::size_t>(done) : 0);
    }
}

void sync_folder_of(const std::string &path)
{
    const auto slash = path.rfind('/');
    const auto folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = opened >= 0 && fsync(opened) == 0;
    const int why = errno;
    ::close(opened);
    if (!synced) {
        fail_on(path, "has a folder that cannot be synced: " + std::string(std::strerror(why)));
    }
}

/** Writes the first line, also where one who wrote it before was ended on the way. */
void begin(int file, const std::string &line, const std::string &path)
{
    std::string is(line.size(), ' ');
    const auto size = flock(file, LOCK_EX) == 0 ? ::pread(file, is.data(), is.size(), 0) : -1;
    if (size < 0) {
        fail_on(path, "cannot be read: " + std::string(std::strerror(errno)));
    }
    is.resize(static_cast<std::size_t>(size));
    if (is.size() == line.size() || !line.starts_with(is)) {
        return;
    }
    lseek(file, size, SEEK_SET);
    write_all(file, std::string_view(line).substr(is.size()), path);
    if (fsync(file) != 0) {
        fail_on(path, "cannot be synced: " + std::string(std::strerror(errno)));
    }
}

witnessed read_start(const std::string &line, const std::string &path)
{
    try {
        const auto form = json::parse(line);
        if (form.at("witness") == 1) {
            return {form.at("ledger").get<std::string>(), form.at("number").get<std::int64_t>(),
                    form.at("hash").get<std::string>()};
        }
    } catch (const json::exception &) { // told below
    }
    fail_on(path, "is damaged: its first line is none of a witness");
}

} // namespace

void witness::create(const std::string &path, const witnessed &start)
{
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, readable_by_all);
    if (file < 0) {
        fail_on(path, "cannot be made: " + std::string(std::strerror(errno)));
    }
    try {
        begin(file, start_line(start), path);
    } catch (...) {
        ::close(file);
        throw;
    }
    ::close(file);
    sync_folder_of(path);
}

witness::witness(std::string path) : path_(std::move(path))
{
    try {
        while (!open_locked()) {
            ::close(file_);
        }
        read_last();
    } catch (...) {
        ::close(file_);
        throw;
    }
}

/** False: another file has come into its place while its turn was waited for. */
bool witness::open_locked()
{
    file_ = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
    if (file_ < 0) {
        fail("cannot be opened: " + std::string(std::strerror(errno)));
    }
    struct stat held {};
    struct stat named {};
    if (flock(file_, LOCK_EX) != 0 || fstat(file_, &held) != 0) {
        fail("cannot be locked: " + std::string(std::strerror(errno)));
    }
    return ::stat(path_.c_str(), &named) == 0 && held.st_ino == named.st_ino;
}

witness::~witness()
{
    ::close(file_);
}

void witness::fail(const std::string &what) const
{
    fail_on(path_, what);
}

/** A line without its end was being written when the power went: nobody was told of its entry. */
void witness::read_last()
{
    std::ifstream in(path_, std::ios::binary);
    std::string line;
    std::getline(in, line);
    first_ = last_ = read_start(line, path_);
    end_ = static_cast<std::int64_t>(line.size()) + 1;

    in.seekg(0, std::ios::end);
    const auto size = static_cast<std::int64_t>(in.tellg());
    std::string tail;
    std::size_t start = std::string::npos;
    std::size_t stop = std::string::npos;
    for (auto look = first_look; start == std::string::npos && size > end_; look *= 4) {
        const auto from = std::max(end_ - 1, size - look);
        tail.resize(static_cast<std::size_t>(size - from));
        in.seekg(from);
        in.read(tail.data(), static_cast<std::streamsize>(tail.size()));
        stop = tail.rfind('\n');
        start =
            stop == std::string::npos || stop == 0 ? std::string::npos : tail.rfind('\n', stop - 1);
        if (from == end_ - 1 && start == std::string::npos) {
            return; // no entry yet
        }
        if (start != std::string::npos) {
            end_ = from + static_cast<std::int64_t>(stop) + 1;
        }
    }
    if (start == std::string::npos) {
        return;
    }
    const auto entry = [&] {
        try {
            return read_entry_line(std::string_view(tail).substr(start + 1, stop - start - 1));
        } catch (const error &) {
            fail("is damaged: its last line is no entry");
        }
    }();
    if (hash_of(entry) != entry.hash) {
        fail("is damaged: the hash of its last entry is not that of its content");
    }
    last_.number = entry.number;
    last_.hash = entry.hash;
}

void witness::append(const journal_entry &entry)
{
    if (ftruncate(file_, end_) != 0 || lseek(file_, end_, SEEK_SET) != end_) {
        fail("cannot be written: " + std::string(std::strerror(errno)));
    }
    const auto line = entry_line(entry) + "\n";
    write_all(file_, line, path_);
    end_ += static_cast<std::int64_t>(line.size());
    last_.number = entry.number;
    last_.hash = entry.hash;
}

void witness::sync()
{
    if (fdatasync(file_) != 0) {
        fail("cannot be synced: " + std::string(std::strerror(errno)));
    }
}

void witness::entries_after(std::int64_t number,
                            const std::function<void(const journal_entry &)> &take) const
{
    std::ifstream in(path_, std::ios::binary);
    std::string line;
    std::getline(in, line);
    auto at = static_cast<std::int64_t>(line.size()) + 1;
    while (at < end_ && std::getline(in, line)) {
        at += static_cast<std::int64_t>(line.size()) + 1;
        const auto entry = read_entry_line(line);
        if (hash_of(entry) != entry.hash) {
            refuse("the witness " + path_ + " is damaged at entry " + std::to_string(entry.number));
        }
        if (entry.number > number) {
            take(entry);
        }
    }
}

std::string witness::start_anew(const witnessed &start, const std::function<void(witness &)> &fill)
{
    const auto fresh = path_ + ".new";
    ::unlink(fresh.c_str());
    create(fresh, start);
    {
        witness next(fresh);
        fill(next);
    }
    // At any moment the name leads to one of the two.
    const auto wanted = path_ + ".until-" + std::to_string(last_.number);
    auto aside = wanted;
    for (int other = 2; ::link(path_.c_str(), aside.c_str()) != 0; ++other) {
        if (errno != EEXIST) {
            fail("cannot be kept as " + aside + ": " + std::strerror(errno));
        }
        aside = wanted + "-" + std::to_string(other);
    }
    if (::rename(fresh.c_str(), path_.c_str()) != 0) {
        fail("cannot be exchanged: " + std::string(std::strerror(errno)));
    }
    sync_folder_of(path_);
    return aside;
}

} // namespace ledger
