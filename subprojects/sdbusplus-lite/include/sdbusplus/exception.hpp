// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The exceptions of the D-Bus layer. */

#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace sdbusplus
{
namespace exception
{
inline namespace lite
{

/** What every exception of the D-Bus layer can tell. */
struct exception : public std::exception
{
    /** The D-Bus error name; may be null. */
    virtual const char* name() const noexcept = 0;
    /** The human-readable description; may be null. */
    virtual const char* description() const noexcept = 0;
    /** The positive errno that matches the error. */
    virtual int get_errno() const noexcept = 0;
};

/** Base of the errors that an interface declares for its methods. */
struct generated_exception : public exception
{
    int get_errno() const noexcept override
    {
        return EIO;
    }
};

/** Base of the errors that this layer raises itself. */
struct internal_exception : public exception
{};

/** A failed sd-bus call. */
class SdBusError final : public internal_exception
{
  public:
    /** @param[in] number errno of the failure, of either sign, not 0
     *  @param[in] prefix the failed call, first in what()
     *  @param[in] interface the seam that frees the error
     *  @throws std::runtime_error when the number names no error */
    SdBusError(int number, const char* prefix,
               SdBusInterface* interface = &sdbus_impl) :
        intf(interface)
    {
        intf->sd_bus_error_set_errno(&error, number);
        if (error.name == nullptr)
        {
            throw std::runtime_error("Failed to create SdBusError");
        }
        compose(prefix);
    }

    /** Takes over the content of @p source and leaves it empty. */
    SdBusError(sd_bus_error* source, const char* prefix,
               SdBusInterface* interface = &sdbus_impl) :
        error(std::exchange(*source, SD_BUS_ERROR_NULL)),
        intf(interface)
    {
        compose(prefix);
    }

    SdBusError(const SdBusError&) = delete;
    SdBusError& operator=(const SdBusError&) = delete;

    SdBusError(SdBusError&& other) noexcept :
        error(std::exchange(other.error, SD_BUS_ERROR_NULL)),
        text(std::move(other.text)), intf(other.intf)
    {}

    SdBusError& operator=(SdBusError&& other) noexcept
    {
        std::swap(error, other.error);
        std::swap(text, other.text);
        std::swap(intf, other.intf);
        return *this;
    }

    ~SdBusError() override
    {
        intf->sd_bus_error_free(&error);
    }

    const char* name() const noexcept override
    {
        return error.name;
    }

    const char* description() const noexcept override
    {
        return error.message;
    }

    const char* what() const noexcept override
    {
        return text.c_str();
    }

    int get_errno() const noexcept override
    {
        return intf->sd_bus_error_get_errno(&error);
    }

    /** The error itself; it stays owned by this object. */
    const sd_bus_error* get_error() const noexcept
    {
        return &error;
    }

  private:
    sd_bus_error error = SD_BUS_ERROR_NULL;
    std::string text;
    SdBusInterface* intf;

    void compose(const char* prefix)
    {
        text = prefix;
        for (const char* part : {error.name, error.message})
        {
            if (part != nullptr)
            {
                text.append(": ").append(part);
            }
        }
    }
};

} // namespace lite
} // namespace exception

using exception_t = exception::exception;
using internal_exception_t = exception::internal_exception;

namespace details
{

/** Turns a negative result into an SdBusError that names the call.
 *
 *  @return @p result, when it is not negative */
inline int check(int result, const char* call)
{
    if (result < 0)
    {
        throw exception::SdBusError(-result, call);
    }
    return result;
}

} // namespace details
} // namespace sdbusplus
