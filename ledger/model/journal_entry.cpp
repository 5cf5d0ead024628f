#include "ledger/model/journal_entry.h"

#include <array>

#include <nlohmann/json.hpp>
#include <openssl/evp.h>

#include "ledger/model/error.h"
#include "ledger/model/records.h"

namespace ledger {

std::string sha256_of(std::string_view bytes)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw error(trouble::unusable, "SHA-256 cannot be computed");
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * std::size_t{size});
    for (unsigned int at = 0; at < size; ++at) {
        text += digits[digest[at] >> 4U];
        text += digits[digest[at] & 0xFU];
    }
    return text;
}

std::string hash_of(const journal_entry &entry)
{
    std::string text = std::to_string(entry.number);
    for (const auto *field :
         {&entry.at, &entry.topic, &entry.subject, &entry.kind, &entry.content, &entry.previous}) {
        text += '\n';
        text += *field;
    }
    return sha256_of(text);
}

std::string entry_line(const journal_entry &entry)
{
    const json form{{"number", entry.number},     {"at", entry.at},     {"topic", entry.topic},
                    {"subject", entry.subject},   {"kind", entry.kind}, {"content", entry.content},
                    {"previous", entry.previous}, {"hash", entry.hash}};
    return form.dump();
}

journal_entry read_entry_line(std::string_view line)
{
    try {
        const auto form = json::parse(line);
        return {form.at("number").get<std::int64_t>(),  form.at("at").get<std::string>(),
                form.at("topic").get<std::string>(),    form.at("subject").get<std::string>(),
                form.at("kind").get<std::string>(),     form.at("content").get<std::string>(),
                form.at("previous").get<std::string>(), form.at("hash").get<std::string>()};
    } catch (const json::exception &) {
        refuse("a line is no entry of a journal");
    }
}

} // namespace ledger
