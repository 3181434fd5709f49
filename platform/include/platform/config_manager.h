#pragma once

/** @file The platform's configuration manager.
 *
 *  It announces each change of an attribute as a notification whose record
 *  holds little-endian fields at these byte offsets from its start. Whoever
 *  delivers a record makes sure that it is long enough for them and that a
 *  source name ends within it. */

/** Unsigned 32-bit: where the NUL-terminated name of whoever made the change
 *  begins, counted from the start of the record; 0 when it is not known. */
#define CFGMGR_CHANGE_SOURCE_OFFSET 36
/** Unsigned 32-bit: the attribute's value now. */
#define CFGMGR_CHANGE_NEW_VALUE_OFFSET 48
/** Unsigned 32-bit: the attribute's value before. */
#define CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET 52
