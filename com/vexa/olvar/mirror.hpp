// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Common code of the bindings whose properties are on D-Bus and in a
 *  record of the data cache at the same time. */

#include <com/vexa/olvar/object_path.hpp>
#include <com/vexa/olvar/open_bus.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/server/interface.hpp>
#include <sdbusplus/vtable.hpp>

#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace healthintf::binding
{

/** A marker among the properties of a new object: it gets no record in the
 *  data cache. */
inline constexpr const char* nonCachedMarker = "meta-NonCached";

/** The registration of one object on D-Bus and its record in the data cache.
 *
 *  @tparam Cache gives the Variant of the properties and the static calls
 *          create, setProperty and remove of the data cache, which may take the
 *          address of the mirror as first argument */
template <typename Cache>
class Mirror
{
  public:
    using Variant = typename Cache::Variant;
    using PropertyMap = std::map<std::string, Variant>;

    /** Registers the object on D-Bus; it has no record yet.
     *
     *  @throws sdbusplus::exception::SdBusError when sd-bus refuses, for
     *          example because the connection is closed, or when the path has
     *          more than maxObjectPath bytes
     *  @throws std::logic_error when @p path is null */
    Mirror(sdbusplus::bus_t& bus, const char* path, const char* name,
           const sdbusplus::vtable_t* table, void* context) :
        interface(requireOpen(bus), requireShort(path), name, table, context)
    {}

    /** Creates the record, unless the marker is among the properties, and calls
     *  @p apply for each property. These calls do not write the record, which
     *  has the values already; later changes do. */
    template <typename Apply>
    void publish(const PropertyMap& properties, Apply&& apply)
    {
        const bool cached = !properties.contains(nonCachedMarker);
        if (cached)
        {
            call(Cache::create, path(), properties);
        }
        try
        {
            for (const auto& [name, value] : properties)
            {
                apply(name, value);
            }
        }
        catch (...)
        {
            if (cached)
            {
                call(Cache::remove, path());
            }
            throw;
        }
        dalEnabled = cached;
    }

    /** Gives a property a new value: writes the record and, if the value is
     *  another one, stores it, notifies the cluster and emits the change. The
     *  record is written in any case; when the data cache refuses that, nothing
     *  is changed.
     *
     *  @return @p value, or the stored value when the data cache refused */
    template <typename Cluster, typename T>
    T set(Cluster& cluster, T& stored, const char* name, T value,
          bool skipSignal)
    {
        Variant wrapped(std::move(value));
        T& given = std::get<T>(wrapped);
        if (dalEnabled && call(Cache::setProperty, path(), name, wrapped) != 0)
        {
            return stored;
        }
        if (stored != given)
        {
            stored = given;
            cluster.PropertyChanged(path(), name, wrapped);
            if (!skipSignal)
            {
                interface.property_changed(name);
            }
        }
        return std::move(given);
    }

    /** Removes the record; for the object's destructor. */
    void withdraw() noexcept
    {
        if (!dalEnabled)
        {
            return;
        }
        try
        {
            call(Cache::remove, path());
        }
        catch (...)
        {
            // A destructor must not throw. The data cache knows the record's
            // owner, so the record ends with this process at the latest.
        }
    }

    /** Sends a signal of the interface from the object's path.
     *
     *  @throws sdbusplus::exception::SdBusError naming the failed call */
    template <typename... Args>
    void signal(const char* member, const Args&... args)
    {
        auto message = interface.new_signal(member);
        message.append(args...);
        message.signal_send();
    }

    const std::string& path()
    {
        return interface.path();
    }

    /** The registration on D-Bus; it knows whether the object was announced. */
    sdbusplus::server::interface_t interface;

  private:
    /** Calls the data cache, with this mirror's address if the function takes
     *  it. */
    template <typename Call, typename... Args>
    int call(Call function, const Args&... args)
    {
        if constexpr (std::is_invocable_v<Call, const void*, const Args&...>)
        {
            return function(this, args...);
        }
        else
        {
            return function(args...);
        }
    }

    bool dalEnabled = false;
};

} // namespace healthintf::binding

/** Declares one mirrored property of the class Self, which has a Mirror
 *  called mirror: the getter, the setter that may leave the signal out and the
 *  plain setter, virtual and in this order, the stored value, and the type
 *  <accessor>Property by which a PropertyTable knows it. */
#define HEALTHINTF_MIRRORED_PROPERTY(Type, accessor, dbusName, dbusFlags)      \
  public:                                                                      \
    virtual Type accessor() const                                              \
    {                                                                          \
        return _##accessor;                                                    \
    }                                                                          \
    virtual Type accessor(Type value, bool skipSignal)                         \
    {                                                                          \
        return mirror.set(*this, _##accessor, dbusName, std::move(value),      \
                          skipSignal);                                         \
    }                                                                          \
    virtual Type accessor(Type value)                                          \
    {                                                                          \
        return accessor(std::move(value), false);                              \
    }                                                                          \
                                                                               \
    struct accessor##Property                                                  \
    {                                                                          \
        using type = Type;                                                     \
        static constexpr const char* name = dbusName;                          \
        static constexpr auto flags = sdbusplus::vtable::property_::dbusFlags; \
        static Type get(const Self& object)                                    \
        {                                                                      \
            return object.accessor();                                          \
        }                                                                      \
        /** The stored value, read without a copy. */                          \
        static const Type& storedValue(const Self& object) noexcept            \
        {                                                                      \
            return object._##accessor;                                         \
        }                                                                      \
        static void set(Self& object, Type value, bool skipSignal)             \
        {                                                                      \
            object.accessor(std::move(value), skipSignal);                     \
        }                                                                      \
    };                                                                         \
                                                                               \
  private:                                                                     \
    Type _##accessor{};
