#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace sim {

/**
 * The bytes of one memory: in the process, or a file of a board folder that is mapped, so that
 * every byte is kept at once, whatever becomes of the process. The file is made at the first use of
 * the bytes, with the initial content and then 0xFF; one of another size than the memory's is
 * refused.
 */
class memory {
public:
    /** In the process. */
    explicit memory(std::size_t size, std::vector<uint8_t> content = {});
    /** In a file. */
    memory(std::filesystem::path file, std::size_t size, std::vector<uint8_t> content = {});
    ~memory();
    memory(const memory &) = delete;
    memory &operator=(const memory &) = delete;

    std::size_t size() const { return size_; }

    /** Throws std::system_error or std::runtime_error when the file cannot be had. */
    std::span<uint8_t> bytes();

private:
    std::vector<uint8_t> blank() const;
    void map();

    std::filesystem::path file_;
    std::size_t size_;
    std::vector<uint8_t> content_; // of a memory in the process: all of it
    uint8_t *mapped_ = nullptr;
};

} // namespace sim
