// SPDX-License-Identifier: Apache-2.0
#include "fault_entry_codec.hpp"

#include "byte_codec.hpp"

#include <algorithm>
#include <array>

namespace healthintf::host
{
namespace
{

/** The alternative of a property's variant for the type of a view's member. */
template <typename Member>
struct VariantType
{
    using type = Member;
};
template <>
struct VariantType<std::string_view>
{
    using type = std::string;
};
template <>
struct VariantType<std::span<const std::string>>
{
    using type = std::vector<std::string>;
};

template <auto Member>
bool assign(FaultEntryView& entry, const FaultEntryPropertyVariant& value)
{
    auto& member = entry.*Member;
    using Type = typename VariantType<std::decay_t<decltype(member)>>::type;
    const auto* given = std::get_if<Type>(&value);
    if (given != nullptr)
    {
        member = *given;
    }
    return given != nullptr;
}

struct Property
{
    std::string_view name;
    bool (*assign)(FaultEntryView&, const FaultEntryPropertyVariant&);
};

using V = FaultEntryView;

constexpr std::array properties{
    Property{"FQDD", assign<&V::fqdd>},
    Property{"MessageID", assign<&V::messageID>},
    Property{"Message", assign<&V::message>},
    Property{"Args", assign<&V::args>},
    Property{"Timestamp", assign<&V::timestamp>},
    Property{"Severity", assign<&V::severity>},
    Property{"SensorPath", assign<&V::sensorPath>},
    Property{"SensorNumber", assign<&V::sensorNumber>},
    Property{"SensorType", assign<&V::sensorType>},
    Property{"LedState", assign<&V::ledState>},
    Property{"LcdMessage", assign<&V::lcdMessage>},
    Property{"Hidden", assign<&V::hidden>},
};

std::vector<std::string> getTexts(ByteReader& reader)
{
    const auto count = reader.get<uint32_t>();
    std::vector<std::string> texts;
    // The count of a damaged record may be wrong, but each text takes at least
    // the bytes of its size.
    texts.reserve(
        std::min<std::size_t>(count, reader.size() / sizeof(uint32_t)));
    for (uint32_t i = 0; i < count; ++i)
    {
        texts.emplace_back(reader.getText());
    }
    return texts;
}

} // namespace

FaultEntryView makeView(const FaultEntryProperties& entry)
{
    return {.fqdd = entry.fqdd,
            .messageID = entry.messageID,
            .message = entry.message,
            .args = entry.args,
            .timestamp = entry.timestamp,
            .severity = entry.severity,
            .sensorPath = entry.sensorPath,
            .sensorNumber = entry.sensorNumber,
            .sensorType = entry.sensorType,
            .ledState = entry.ledState,
            .lcdMessage = entry.lcdMessage,
            .hidden = entry.hidden};
}

bool setProperty(FaultEntryView& entry, std::string_view name,
                 const FaultEntryPropertyVariant& value)
{
    const auto* found = std::ranges::find(properties, name, &Property::name);
    return found != properties.end() && found->assign(entry, value);
}

std::string encodeFaultEntry(const FaultEntryView& entry)
{
    std::string payload;
    constexpr std::size_t usualSize = 512;
    payload.reserve(usualSize);
    ByteWriter writer(payload);
    writer.put(entry.fqdd);
    writer.put(entry.messageID);
    writer.put(entry.message);
    writer.put(static_cast<uint32_t>(entry.args.size()));
    for (const std::string& arg : entry.args)
    {
        writer.put(arg);
    }
    writer.put(entry.timestamp);
    writer.put(entry.severity);
    writer.put(entry.sensorPath);
    writer.put(entry.sensorNumber);
    writer.put(entry.sensorType);
    writer.put(entry.ledState);
    writer.put(entry.lcdMessage);
    return payload;
}

FaultEntryProperties decodeFaultEntry(std::string_view payload, uint32_t live)
{
    ByteReader reader(payload);
    // In the order of the members, which is the order of evaluation.
    return {.fqdd = std::string(reader.getText()),
            .messageID = std::string(reader.getText()),
            .message = std::string(reader.getText()),
            .args = getTexts(reader),
            .timestamp = reader.get<uint64_t>(),
            .severity = reader.get<uint32_t>(),
            .sensorPath = std::string(reader.getText()),
            .sensorNumber = reader.get<uint32_t>(),
            .sensorType = reader.get<uint32_t>(),
            .ledState = reader.get<int32_t>(),
            .lcdMessage = std::string(reader.getText()),
            .hidden = live != 0};
}

} // namespace healthintf::host
