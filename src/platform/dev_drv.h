#pragma once

#include <cstdint>

// The contract of the maker's device-driver library, libdev_drv. The library is closed: on the
// switch the maker's build is found by the dynamic linker, elsewhere the stand-in of the simulated
// board. These are the operations that the program calls, and all that it relies on.
//
// Results are 0 for success and anything else for failure, where nothing else is said. `index` is
// the number of a slot, as the PC sends it. How presence and identity are found out is the
// library's business.
//
// Serial numbers stand in fields of 24 bytes, hardware versions in fields of 6: texts that end at
// the first NUL or with the field. That the library reads no further than the field, and that a
// text which it stores into one lacks its NUL when it fills the field, is our assumption.

extern "C" {

/**
 * Prepares the library: once, before any other operation, but for drv_set_backplane_info, which the
 * TLV flavour calls on its own. The result is not looked at: a library that could not start refuses
 * its operations one by one.
 */
int32_t dev_drv_init();

/**
 * Lifts (`protect` 0) or restores (`protect` 1) the write protection of the EEPROM number `index`;
 * 0 is the system EEPROM. The result is not looked at: what the EEPROM answers tells.
 */
int32_t drv_set_e2_wr_pro(int32_t index, int32_t protect);

/** Stores the backplane record of 44 bytes into backplane EEPROM 1 or 2. */
int32_t drv_set_backplane_info(int32_t index, const void *record);

/** 1 when a fan is present. */
int32_t drv_get_fan_status(int32_t index);
/** 1 when a power supply is present. */
int32_t drv_get_power_status(int32_t index);
/** The slot of a sub-card: it is occupied when the low byte is 1. */
int32_t drv_get_sslot_state(int32_t index);

/** The type code of a fan, all 32 bits of it: no result means failure. */
int32_t drv_get_fan_type(int32_t index);
/** Stores a fan's serial number (24 bytes) and hardware version (6 bytes). */
int32_t drv_set_fan_info(int32_t index, const char *sn, const char *hw);
/** The same with its type code, which is stored too. */
int32_t drv_set_fan_info_with_type(int32_t index, const uint32_t *type, const char *sn,
                                   const char *hw);
/**
 * Reads a fan's serial number into `sn`, of `size` bytes. `length` holds that size at the call and
 * the length of the text after it.
 */
int32_t drv_get_fan_sn(int32_t index, char *sn, uint32_t *length, uint32_t size);
/** Reads a fan's hardware version, as drv_get_fan_sn does the serial number. */
int32_t drv_get_fan_hw_version(int32_t index, char *hw, uint32_t *length, uint32_t size);

/**
 * Reads the name of a power supply into `name`, of 32 bytes, and its length into `length`. A name
 * of 32 characters has no NUL. Negative on failure; nothing is promised of `name` then.
 */
int32_t drv_get_power_name(int32_t index, char *name, uint32_t *length);
/** Stores a power supply's hardware version (6 bytes). */
int32_t drv_set_power_hw_version(int32_t index, const char *hw);
/** Reads a power supply's hardware version, as drv_get_fan_sn does a serial number. */
int32_t drv_get_power_hw_version(int32_t index, char *hw, uint32_t *length, uint32_t size);

/** This board's own card type, which drv_get_sub_unintlg_lc_info wants to know. */
int32_t drv_get_my_card_type();
/**
 * Reads a sub-card's type into `card_type`; `buffer`, of 32 bytes, is the library's to fill.
 * Negative on failure.
 */
int32_t drv_get_sub_unintlg_lc_info(int32_t own_card_type, int32_t index, uint32_t *card_type,
                                    char *buffer);
/** Stores a sub-card's serial number (24 bytes) and hardware version (6 bytes). */
int32_t drv_set_sub_unintlg_info(int32_t index, const char *sn, const char *hw);
/** Reads a sub-card's serial number, as drv_get_fan_sn does a fan's. */
int32_t drv_get_sub_unintlg_sn(int32_t index, char *sn, uint32_t *length, uint32_t size);
/** Reads a sub-card's hardware version, as drv_get_fan_sn does a serial number. */
int32_t drv_get_sub_unintlg_hw_ver(int32_t index, char *hw, uint32_t *length, uint32_t size);
}
