#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "app/setmac_main.h"
#include "store/productinfo.h"

namespace {

constexpr size_t scratch_size = 1000; // the "%999s" below fills it
constexpr size_t field_size = 64;
constexpr size_t country_size = 256;
constexpr size_t product_line_size = 1024;

int32_t refuse_arguments()
{
    puts("Invalid parameters.\r");
    return -1;
}

/** The end of a command that cannot read what it asks for; nothing of it may be saved. */
int32_t refuse_input()
{
    puts("\r\nError: The input cannot be read.\r");
    return -1;
}

/** A command for one field: from the one argument, or else from a prompt. */
int32_t set_field(int argc, char **argv, const char *prompt, int32_t (*set)(std::string_view))
{
    if (argc == 2) {
        return set(argv[1]);
    }
    if (argc != 1) {
        return refuse_arguments();
    }
    std::array<char, field_size> text{};
    if (read_strings(prompt, text.data(), text.size()) == word_outcome::unread) {
        return refuse_input();
    }
    return set(text.data());
}

} // namespace

word_outcome read_strings(const char *prompt, char *dst, size_t size)
{
    memset(dst, 0, size);
    printf("%s", prompt);
    fflush(stdout);
    auto *scratch = static_cast<char *>(calloc(1, scratch_size));
    if (scratch == nullptr) {
        printf("%s: Out of memory.\r\n", __func__);
        mark_product_info_incomplete();
        return word_outcome::no_memory;
    }
    if (scanf("%999s", scratch) == 1) {
        std::copy_n(scratch, std::min(strlen(scratch), size - 1), dst);
    }
    free(scratch);
    return ferror(stdin) != 0 ? word_outcome::unread : word_outcome::read;
}

int32_t setsn_main(int argc, char **argv)
{
    return set_field(argc, argv, "Please input serial number:", set_product_info_serialnum);
}

int32_t setmac_main(int argc, char **argv)
{
    return set_field(argc, argv, "Please input mac addr:", set_product_info_macaddr);
}

int32_t setcountry_main(int argc, char **)
{
    if (argc != 1) {
        return refuse_arguments();
    }
    constexpr const char *prompts[] = {
        "Please input country def:", "Please input country map:", "Please input country map1:",
        "Please input country change:"};
    char settings[std::size(prompts)][country_size] = {};
    for (size_t i = 0; i < std::size(prompts); ++i) {
        if (read_strings(prompts[i], settings[i], country_size) == word_outcome::unread) {
            return refuse_input();
        }
    }
    return set_product_info_country(settings[0], settings[1], settings[2], settings[3]);
}

int32_t setproduct_main(int, char **)
{
    puts("Please input the name and value of setmac field.\r");
    puts("Format: name=value, Press 'q' to save and quit.\r");
    puts("\r");
    while (true) {
        std::array<char, product_line_size> line{};
        const word_outcome outcome = read_strings("", line.data(), line.size());
        if (outcome == word_outcome::unread) {
            return refuse_input();
        }
        const std::string_view text = line.data();
        const bool input_ended = text.empty() && feof(stdin) != 0;
        if (text == "q" || input_ended) {
            return 0;
        }
        setproduct_info(text);
        if (outcome == word_outcome::no_memory) {
            return 0; // nothing that is entered from now on could be saved
        }
    }
}

int32_t do_setmac(int argc, char **argv)
{
    if (argc != 3) {
        // The count of characters printed: scripts rely on this mistake ending with status 0.
        return printf("Invalid parameters.\r\n");
    }
    return set_product_info(argv[1], argv[2]);
}
