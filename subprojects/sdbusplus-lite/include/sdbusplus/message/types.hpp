// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus type signature of a C++ type, as a constant expression. */

#include <sdbusplus/message/native_types.hpp>

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus::message::types
{

/** A signature as a type, so that pieces can be joined at compile time. */
template <char... Letters>
struct Signature
{
    static constexpr char text[sizeof...(Letters) + 1] = {Letters..., '\0'};
};

template <typename... Parts>
struct Join;

template <>
struct Join<>
{
    using type = Signature<>;
};

template <char... A>
struct Join<Signature<A...>>
{
    using type = Signature<A...>;
};

template <char... A, char... B, typename... Rest>
struct Join<Signature<A...>, Signature<B...>, Rest...>
    : Join<Signature<A..., B...>, Rest...>
{};

/** Which way a type takes through append and read. */
enum class Kind
{
    number,
    boolean,
    text,
    sequence,
    dictionary,
    structure,
    variant,
};

/** Kind and signature of @p T; declared only for the types that D-Bus
 *  knows. */
template <typename T>
struct Wire;

template <Kind K, char... Letters>
struct WireBasic
{
    static constexpr Kind kind = K;
    static constexpr char letter = Signature<Letters...>::text[0];
    using type = Signature<Letters...>;
};

// clang-format off
template <> struct Wire<bool> : WireBasic<Kind::boolean, 'b'> {};
template <> struct Wire<uint8_t> : WireBasic<Kind::number, 'y'> {};
template <> struct Wire<int16_t> : WireBasic<Kind::number, 'n'> {};
template <> struct Wire<uint16_t> : WireBasic<Kind::number, 'q'> {};
template <> struct Wire<int32_t> : WireBasic<Kind::number, 'i'> {};
template <> struct Wire<uint32_t> : WireBasic<Kind::number, 'u'> {};
template <> struct Wire<int64_t> : WireBasic<Kind::number, 'x'> {};
template <> struct Wire<uint64_t> : WireBasic<Kind::number, 't'> {};
template <> struct Wire<double> : WireBasic<Kind::number, 'd'> {};
template <> struct Wire<std::string> : WireBasic<Kind::text, 's'> {};
template <> struct Wire<std::string_view> : WireBasic<Kind::text, 's'> {};
template <> struct Wire<const char*> : WireBasic<Kind::text, 's'> {};
template <> struct Wire<char*> : WireBasic<Kind::text, 's'> {};
template <> struct Wire<object_path> : WireBasic<Kind::text, 'o'> {};
template <> struct Wire<signature> : WireBasic<Kind::text, 'g'> {};
// clang-format on

template <typename Element>
struct WireSequence
{
    static constexpr Kind kind = Kind::sequence;
    using element = typename Wire<Element>::type;
    using type = typename Join<Signature<'a'>, element>::type;
};

template <typename T>
struct Wire<std::vector<T>> : WireSequence<T>
{};
template <typename T>
struct Wire<std::list<T>> : WireSequence<T>
{};
template <typename T>
struct Wire<std::deque<T>> : WireSequence<T>
{};
template <typename T>
struct Wire<std::set<T>> : WireSequence<T>
{};
template <typename T>
struct Wire<std::unordered_set<T>> : WireSequence<T>
{};

template <typename Key, typename Value>
struct WireDictionary
{
    static constexpr Kind kind = Kind::dictionary;
    /** Signature of one entry's content, without its braces. */
    using content = typename Join<typename Wire<Key>::type,
                                  typename Wire<Value>::type>::type;
    using element =
        typename Join<Signature<'{'>, content, Signature<'}'>>::type;
    using type = typename Join<Signature<'a'>, element>::type;
};

template <typename K, typename V>
struct Wire<std::map<K, V>> : WireDictionary<K, V>
{};
template <typename K, typename V>
struct Wire<std::unordered_map<K, V>> : WireDictionary<K, V>
{};

template <typename... Ts>
struct WireStructure
{
    static constexpr Kind kind = Kind::structure;
    /** Signature of the members, without the parentheses. */
    using content = typename Join<typename Wire<Ts>::type...>::type;
    using type = typename Join<Signature<'('>, content, Signature<')'>>::type;
};

template <typename... Ts>
struct Wire<std::tuple<Ts...>> : WireStructure<Ts...>
{};
template <typename A, typename B>
struct Wire<std::pair<A, B>> : WireStructure<A, B>
{};

template <typename... Ts>
struct Wire<std::variant<Ts...>>
{
    static constexpr Kind kind = Kind::variant;
    using type = Signature<'v'>;
};

/** What the wire sees of @p T: no reference, no const, arrays of characters
 *  as pointers. */
template <typename T>
using wire_t = Wire<std::decay_t<T>>;

/** The signature of @p T as a NUL-terminated text. */
template <typename T>
constexpr const char* signature_of = wire_t<T>::type::text;

} // namespace sdbusplus::message::types
