#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <vector>

namespace sim {

/**
 * The system calls as the board answers them: results as of the kernel, that is a negative errno on
 * failure. The interposers of the C library's functions ask here first and go on to the real
 * function when the path or the descriptor is none of the board's.
 */

/** Whether the path belongs to the board of this process: fitted or not, the host's is not seen. */
bool is_board_path(const char *path);

/** Whether the descriptor came from open_node. */
bool is_board_file(int fd);

/** A descriptor, by which nothing of the host can be changed; -ENOENT where no node is fitted. */
int open_node(const char *path, int flags);
int close_node(int fd);
int64_t read_node(int fd, void *buffer, std::size_t count);
int64_t read_node_at(int fd, void *buffer, std::size_t count, int64_t offset);
int64_t write_node(int fd, const void *buffer, std::size_t count);
int64_t write_node_at(int fd, const void *buffer, std::size_t count, int64_t offset);
int64_t seek_node(int fd, int64_t offset, int whence);
int64_t ioctl_node(int fd, unsigned long request, void *argument);
int stat_node(int fd, struct stat &status);
/** -ENOENT where no node is fitted and no folder is. */
int stat_path(const char *path, struct stat &status);
/** The names in a folder of the board; none when there is no such folder. */
std::vector<std::string> list_folder(const char *path);

/** Makes all descriptors of the board plain ones, before it goes. */
void forget_open_files();

} // namespace sim
