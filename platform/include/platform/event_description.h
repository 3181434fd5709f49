// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The platform's event-description library: turns an event record of the
 *  System Event Log into the identifier, severity and text of a message.
 *
 *  Texts in the entries end at a NUL or at the end of their field, whichever
 *  comes first. The platform may use all other bytes of an entry for itself. */

#include <platform/api.h>

#include <stdint.h>

/** Size in bytes of the entry that the caller provides for a description. */
#define JNL_ENTRY_SIZE 762
/** Byte offset of the severity, an unsigned 16-bit little-endian number:
 *  1 critical, 2 warning, 3 informational. */
#define JNL_ENTRY_SEVERITY_OFFSET 4
/** Byte offset of the message's identifier. */
#define JNL_ENTRY_MESSAGE_ID_OFFSET 6
/** Its size in bytes. */
#define JNL_ENTRY_MESSAGE_ID_SIZE 16
/** Byte offset of the message's text, its arguments filled in. */
#define JNL_ENTRY_MESSAGE_OFFSET 22
/** Its size in bytes. */
#define JNL_ENTRY_MESSAGE_SIZE 256
/** Byte offset of the number of arguments, one byte. */
#define JNL_ENTRY_ARGUMENT_COUNT_OFFSET 278
/** Byte offset of the first argument. */
#define JNL_ENTRY_ARGUMENTS_OFFSET 279
/** How many argument fields follow each other. */
#define JNL_ENTRY_MAX_ARGUMENTS 5
/** The size of each argument field in bytes. */
#define JNL_ENTRY_ARGUMENT_SIZE 80
/** Byte offset of the description, which goes to the entry's end: what the
 *  event is about, such as a component's identifier. */
#define JNL_ENTRY_DESCRIPTION_OFFSET 679

/** Size in bytes of the entry that the caller provides for the front panel. */
#define LCD_ENTRY_SIZE 532
/** Byte offset of the LED state that the event asks for, an unsigned byte; 0
 *  asks for none. */
#define LCD_ENTRY_LED_STATE_OFFSET 18
/** Byte offset of the text for the LCD, which goes to the entry's end. */
#define LCD_ENTRY_TEXT_OFFSET 19

#ifdef __cplusplus
extern "C"
{
#endif

    /** Makes the library ready for this caller, who calls
     *  IPMI_SELCSSDSELDetach() once for each call of this function, also when
     *  it failed.
     *
     *  @return 0, or the platform's error number
     *
     *  May be called from any thread, like all functions here. */
    PLATFORM_API int IPMI_SELCSSDSELAttach(void);

    /** Ends what IPMI_SELCSSDSELAttach() began.
     *
     *  @return 0, or the platform's error number */
    PLATFORM_API int IPMI_SELCSSDSELDetach(void);

    /** Describes an event.
     *
     *  @param[in] record the 16 bytes of an IPMI 2.0 event record
     *  @param[out] jnlEntry JNL_ENTRY_SIZE bytes, zeroed by the caller
     *  @return 0, or the platform's error number */
    PLATFORM_API int TransformSELEventToJNLEntry(const uint8_t* record,
                                                 void* jnlEntry);

    /** Gives what the front panel shows for an event.
     *
     *  @param[in] record the 16 bytes of an IPMI 2.0 event record
     *  @param[out] lcdEntry LCD_ENTRY_SIZE bytes, zeroed by the caller
     *  @return 0, or the platform's error number */
    PLATFORM_API int TransformSELEventToLCD(const uint8_t* record,
                                            void* lcdEntry);

#ifdef __cplusplus
}
#endif
