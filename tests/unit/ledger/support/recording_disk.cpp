#include "unit/ledger/support/recording_disk.h"

#include <algorithm>
#include <fstream>

#include <sqlite3.h>

namespace ledger_tests {

namespace {

constexpr std::size_t sector = 512;

recording_disk *current = nullptr;
sqlite3_vfs *plain = nullptr;

/** A file of SQLite's own layer, with its name; that layer's part follows it in memory. */
struct recorded_file {
    sqlite3_file base;
    const char *name; // SQLite keeps it as long as the file is open; null: a temporary file
};

sqlite3_file *real(sqlite3_file *file)
{
    return reinterpret_cast<sqlite3_file *>(reinterpret_cast<recorded_file *>(file) + 1);
}

void record(sqlite3_file *file, recording_disk::kind what, std::int64_t at = 0,
            std::string data = {})
{
    const auto *name = reinterpret_cast<recorded_file *>(file)->name;
    if (current != nullptr && name != nullptr) {
        current->record({what, name, at, std::move(data)});
    }
}

int on_close(sqlite3_file *file)
{
    return real(file)->pMethods->xClose(real(file));
}

int on_read(sqlite3_file *file, void *into, int size, sqlite3_int64 at)
{
    return real(file)->pMethods->xRead(real(file), into, size, at);
}

int on_write(sqlite3_file *file, const void *data, int size, sqlite3_int64 at)
{
    record(file, recording_disk::kind::written, at,
           std::string(static_cast<const char *>(data), static_cast<std::size_t>(size)));
    return real(file)->pMethods->xWrite(real(file), data, size, at);
}

int on_truncate(sqlite3_file *file, sqlite3_int64 size)
{
    record(file, recording_disk::kind::truncated, size);
    return real(file)->pMethods->xTruncate(real(file), size);
}

int on_sync(sqlite3_file *file, int flags)
{
    record(file, recording_disk::kind::synced);
    return real(file)->pMethods->xSync(real(file), flags);
}

int on_size(sqlite3_file *file, sqlite3_int64 *size)
{
    return real(file)->pMethods->xFileSize(real(file), size);
}

int on_lock(sqlite3_file *file, int level)
{
    return real(file)->pMethods->xLock(real(file), level);
}

int on_unlock(sqlite3_file *file, int level)
{
    return real(file)->pMethods->xUnlock(real(file), level);
}

int on_check_lock(sqlite3_file *file, int *held)
{
    return real(file)->pMethods->xCheckReservedLock(real(file), held);
}

int on_control(sqlite3_file *file, int what, void *with)
{
    return real(file)->pMethods->xFileControl(real(file), what, with);
}

int on_sector_size(sqlite3_file *file)
{
    return real(file)->pMethods->xSectorSize(real(file));
}

int on_characteristics(sqlite3_file *file)
{
    return real(file)->pMethods->xDeviceCharacteristics(real(file));
}

const sqlite3_io_methods methods = {
    .iVersion = 1, // no shared memory, no mapped files: all that is written passes here
    .xClose = on_close,
    .xRead = on_read,
    .xWrite = on_write,
    .xTruncate = on_truncate,
    .xSync = on_sync,
    .xFileSize = on_size,
    .xLock = on_lock,
    .xUnlock = on_unlock,
    .xCheckReservedLock = on_check_lock,
    .xFileControl = on_control,
    .xSectorSize = on_sector_size,
    .xDeviceCharacteristics = on_characteristics,
    .xShmMap = nullptr,
    .xShmLock = nullptr,
    .xShmBarrier = nullptr,
    .xShmUnmap = nullptr,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int on_open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *out)
{
    auto *recorded = reinterpret_cast<recorded_file *>(file);
    recorded->name = name;
    const int code = plain->xOpen(plain, name, real(file), flags, out);
    recorded->base.pMethods = code == SQLITE_OK ? &methods : nullptr;
    if (code == SQLITE_OK) {
        record(file, recording_disk::kind::opened);
    }
    return code;
}

int on_delete(sqlite3_vfs *, const char *name, int sync_folder)
{
    if (current != nullptr) {
        current->record({recording_disk::kind::removed, name, 0, "", sync_folder != 0});
    }
    return plain->xDelete(plain, name, sync_folder);
}

sqlite3_vfs &recording_layer()
{
    static sqlite3_vfs layer = [] {
        plain = sqlite3_vfs_find(nullptr);
        auto made = *plain;
        made.zName = "recording";
        made.szOsFile += static_cast<int>(sizeof(recorded_file));
        made.pNext = nullptr;
        made.xOpen = on_open;
        made.xDelete = on_delete;
        return made;
    }();
    return layer;
}

void put(std::string &content, std::size_t at, std::string_view data)
{
    if (content.size() < at + data.size()) {
        content.resize(at + data.size());
    }
    content.replace(at, data.size(), data);
}

void apply(std::string &content, const recording_disk::event &one)
{
    if (one.what == recording_disk::kind::truncated) {
        content.resize(static_cast<std::size_t>(one.at));
    } else if (one.what == recording_disk::kind::written) {
        put(content, static_cast<std::size_t>(one.at), one.data);
    }
}

/** Some sectors of a write, each or none. */
void apply_torn(std::string &content, const recording_disk::event &one, std::mt19937 &chance)
{
    for (std::size_t from = 0; from < one.data.size(); from += sector) {
        if (chance() % 2 == 0) {
            put(content, static_cast<std::size_t>(one.at) + from,
                std::string_view(one.data).substr(from, sector));
        }
    }
}

} // namespace

recording_disk::recording_disk(faults with) : faults_(with)
{
    sqlite3_initialize();
    sqlite3_vfs_register(&recording_layer(), 1);
    current = this;
}

recording_disk::~recording_disk()
{
    stop();
}

void recording_disk::stop()
{
    current = nullptr;
    sqlite3_vfs_unregister(&recording_layer());
    sqlite3_vfs_register(plain, 1);
}

void recording_disk::record(event one)
{
    const bool is_new = log_.empty();
    if (one.what == kind::opened) {
        const auto seen = [&](const event &each) { return each.file == one.file; };
        if (!is_new && std::any_of(log_.begin(), log_.end(), seen)) {
            return; // what it holds is known
        }
        std::ifstream in(one.file, std::ios::binary);
        one.data.assign(std::istreambuf_iterator<char>(in), {});
    }
    one.folder_synced = one.folder_synced && !faults_.no_folder_syncs;
    log_.push_back(std::move(one));
}

std::map<std::string, recording_disk::pending_file>
recording_disk::state_after(std::size_t events) const
{
    std::map<std::string, pending_file> files;
    for (std::size_t number = 0; number < events; ++number) {
        const auto &one = log_[number];
        auto &file = files[one.file];
        if (one.what == kind::opened) {
            file.durable = one.data.empty() ? std::nullopt : std::optional(one.data);
        } else if (one.what == kind::removed && one.folder_synced) {
            file = {};
        } else if (one.what == kind::synced && !faults_.no_syncs) {
            std::string content = file.durable.value_or("");
            for (const auto &each : file.since) {
                if (each.what == kind::removed) {
                    content.clear();
                }
                apply(content, each);
            }
            file = {content, {}};
        } else if (one.what != kind::synced) {
            file.since.push_back(one);
        }
    }
    return files;
}

recording_disk::image recording_disk::oldest_after(std::size_t events) const
{
    image files;
    for (const auto &[name, file] : state_after(events)) {
        if (file.durable) {
            files[name] = *file.durable;
        }
    }
    return files;
}

recording_disk::image recording_disk::newest_after(std::size_t events) const
{
    image files;
    for (const auto &[name, file] : state_after(events)) {
        auto content = file.durable;
        for (const auto &each : file.since) {
            if (each.what == kind::removed) {
                content.reset();
                continue;
            }
            content = content.value_or("");
            apply(*content, each);
        }
        if (content) {
            files[name] = *content;
        }
    }
    return files;
}

recording_disk::image recording_disk::any_after(std::size_t events, std::mt19937 &chance) const
{
    image files;
    for (const auto &[name, file] : state_after(events)) {
        auto content = file.durable;
        for (const auto &each : file.since) {
            const auto drawn = chance() % 3;
            if (each.what == kind::removed) {
                if (drawn == 0) {
                    content.reset();
                }
                continue;
            }
            if (drawn == 0) {
                continue;
            }
            content = content.value_or("");
            if (drawn == 1 && each.what == kind::written) {
                apply_torn(*content, each, chance);
            } else {
                apply(*content, each);
            }
        }
        if (content) {
            files[name] = *content;
        }
    }
    return files;
}

} // namespace ledger_tests
