#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace sim {

/**
 * The bytes of one memory: in the process, or a file of a board folder that is mapped, so that
 * every byte is kept at once, whatever becomes of the process.
 */
class memory {
public:
    /** In the process: the content, and then 0xFF. */
    explicit memory(std::size_t size, std::vector<uint8_t> content = {});
    /**
     * In a file, made with the content and then 0xFF when there is none yet. Throws
     * std::system_error when it cannot be had, std::runtime_error when it has another size.
     */
    memory(const std::filesystem::path &file, std::size_t size, std::vector<uint8_t> content = {});
    ~memory();
    memory(const memory &) = delete;
    memory &operator=(const memory &) = delete;

    std::span<uint8_t> bytes() { return bytes_; }

private:
    std::vector<uint8_t> own_; // empty for a file
    std::span<uint8_t> bytes_;
};

/** Makes the memory of a name: a board's file, or bytes of the process. */
using memory_maker = std::function<std::unique_ptr<memory>(
    const std::string &name, std::size_t size, std::vector<uint8_t> content)>;

} // namespace sim
