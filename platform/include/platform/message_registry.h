// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The platform's message registry: text and severity of a message by
 *  its identifier. */

#include <platform/api.h>

/** Size in bytes of the content record that the caller provides. */
#define MSGREG_CONTENT_SIZE 5704
/** Byte offset of the severity, an unsigned 32-bit number in host order:
 *  1 critical, 2 warning, 3 informational. */
#define MSGREG_CONTENT_SEVERITY_OFFSET 32
/** Byte offset of the message text, NUL-terminated within the record. */
#define MSGREG_CONTENT_TEXT_OFFSET 40
/** How many arguments a registry may read from an argument block. The caller
 *  leaves as many zero bytes after its last argument, so that a message with
 *  more placeholders than arguments reads empty texts. */
#define MSGREG_MAX_ARGUMENTS 64

#ifdef __cplusplus
extern "C"
{
#endif

    /** Looks up a message and fills in its arguments.
     *
     *  @param[in] msgId the message's identifier
     *  @param[in] language language code of the wanted text, for example "en"
     *  @param[in] argumentBlock the arguments, each ended by a NUL byte, with
     *  at least MSGREG_MAX_ARGUMENTS zero bytes after the last
     *  @param[out] content a record of MSGREG_CONTENT_SIZE bytes, zeroed by the
     *  caller
     *  @return 0 with severity and text filled in; otherwise the registry's own
     *          error number, and the record has no meaning
     *
     *  May be called from any thread. */
    PLATFORM_API int MsgRegGetContentWNByMsgID(const char* msgId,
                                               const char* language,
                                               const char* argumentBlock,
                                               void* content);

#ifdef __cplusplus
}
#endif
