#pragma once

#include <cstddef>
#include <cstdint>

// The entry: which command a program name asks for, and what is done before and after it. All
// command functions take the arguments of the process and return 0 for success; a negative result
// becomes the exit status 1.

/** The legacy flavour: product information in flash. */
int32_t run_legacy_main(int argc, char **argv);

/** The TLV flavour: product information in the system EEPROM. */
int32_t run_tlv_main(int argc, char **argv);

// The operator commands. Fields come from the arguments or from prompts on the terminal.

/** "setsn": the serial number. */
int32_t setsn_main(int argc, char **argv);

/** "setcountry": the four country settings. */
int32_t setcountry_main(int argc, char **argv);

/**
 * "setproduct": lines of name=value until "q" or the end of input. 0, or -1 where the input cannot
 * be read: what was entered before must not be saved then.
 */
int32_t setproduct_main(int argc, char **argv);

/** "setmac": the MAC address. */
int32_t setmac_main(int argc, char **argv);

/** "fw_setmac": one named field; with a wrong count of arguments a positive result. */
int32_t do_setmac(int argc, char **argv);

/** "prov_setmac": hands the console to the PC for one operation of the legacy flavour. */
int32_t do_prov_setmac(int argc, char **argv);

/** "prov_setmac" of the TLV flavour. */
int32_t do_tlv_setmac(int argc, char **argv);

/** What became of a word that was asked for. */
enum class word_outcome : uint8_t {
    read,      // empty at the end of input
    unread,    // reading failed, and the word may be cut off
    no_memory, // nothing is saved any more; the word is empty
};

/**
 * Prints `prompt` and reads one word of at most 999 characters into the `size` bytes at `dst`, cut
 * to fit and NUL-terminated.
 */
word_outcome read_strings(const char *prompt, char *dst, size_t size);
