// SPDX-License-Identifier: Apache-2.0
/** @file The message registry: there is no message. */

#include <platform/message_registry.h>

#include <cerrno>

extern "C" int MsgRegGetContentWNByMsgID(const char* /*msgId*/,
                                         const char* /*language*/,
                                         const char* /*argumentBlock*/,
                                         void* /*content*/)
{
    return ENOENT;
}
