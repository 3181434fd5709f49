// SPDX-License-Identifier: Apache-2.0
#include "raw_records.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <stdexcept>

namespace healthintf::healthctl
{
namespace
{

/** From this record type on there are bytes of the maker where others have the
 *  time. */
constexpr uint8_t firstWithoutTime = 0xE0;
/** IPMI has times up to here count from the start of the controller. */
constexpr uint32_t lastTimeSinceStart = 0x20000000;
constexpr uint8_t deassertion = 0x80;
constexpr int hexadecimal = 16;

/** Puts a blank where anything stands that may be between two bytes. */
std::string withBlanks(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
    {
        text += word + ' ';
    }
    std::ranges::replace_if(
        text,
        [](char c) {
            return c == ':' || c == '-' || c == ',' || c == '\t';
        },
        ' ');
    return text;
}

/** The pieces of a text between blanks, without a leading 0x. */
std::vector<std::string> splitText(const std::string& text)
{
    std::vector<std::string> pieces;
    for (std::size_t begin = text.find_first_not_of(' ');
         begin != std::string::npos;)
    {
        const std::size_t end = std::min(text.find(' ', begin), text.size());
        std::string piece = text.substr(begin, end - begin);
        if (piece.starts_with("0x") || piece.starts_with("0X"))
        {
            piece.erase(0, 2);
        }
        pieces.push_back(std::move(piece));
        begin = text.find_first_not_of(' ', end);
    }
    return pieces;
}

uint8_t parseByte(const std::string& digits)
{
    uint8_t byte = 0;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, byte, hexadecimal);
    if (result.ec != std::errc{} || result.ptr != end)
    {
        throw std::invalid_argument("\"" + digits +
                                    "\" is no byte in hexadecimal digits");
    }
    return byte;
}

/** The bytes of a piece: of one or two digits one, of more one for each two. */
void addBytes(const std::string& piece, std::vector<uint8_t>& bytes)
{
    if (piece.size() > 2 && piece.size() % 2 != 0)
    {
        throw std::invalid_argument("\"" + piece +
                                    "\" has an odd number of digits");
    }
    std::size_t at = 0;
    do
    {
        bytes.push_back(parseByte(piece.substr(at, 2)));
        at += 2;
    } while (at < piece.size());
}

} // namespace

std::vector<RawRecord> recordsIn(std::string_view content)
{
    const std::size_t over = content.size() % SELInterface::recordSize;
    if (over != 0)
    {
        throw std::invalid_argument(
            "the record at offset " + std::to_string(content.size() - over) +
            " is cut: it has " + std::to_string(over) + " bytes, not " +
            std::to_string(SELInterface::recordSize));
    }
    std::vector<RawRecord> records(content.size() / SELInterface::recordSize);
    for (RawRecord& record : records)
    {
        std::copy_n(content.begin(), record.size(), record.begin());
        content.remove_prefix(record.size());
    }
    return records;
}

std::string formatRecords(const std::vector<RawRecord>& records)
{
    std::string content;
    for (const RawRecord& record : records)
    {
        content.append(record.begin(), record.end());
    }
    return content;
}

RawRecord parseRecord(const std::vector<std::string>& words)
{
    std::vector<uint8_t> bytes;
    for (const std::string& piece : splitText(withBlanks(words)))
    {
        addBytes(piece, bytes);
    }
    RawRecord record{};
    if (bytes.size() != record.size())
    {
        throw std::invalid_argument(
            "a record has " + std::to_string(record.size()) + " bytes, and " +
            std::to_string(bytes.size()) + " are given");
    }
    std::ranges::copy(bytes, record.begin());
    return record;
}

std::string formatDigits(const RawRecord& record)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : record)
    {
        text += text.empty() ? "" : " ";
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::string hexByte(unsigned int byte)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    return {'0', 'x', digits[byte >> 4 & 0x0F], digits[byte & 0x0F]};
}

uint16_t readId(const RawRecord& record)
{
    return static_cast<uint16_t>(record[0] | record[1] << 8);
}

uint32_t describeTime(const RawRecord& record)
{
    const auto time = parseFields(record).timestamp;
    uint32_t seconds = 0;
    for (std::size_t i = time.size(); i > 0; --i)
    {
        seconds = seconds << 8 | time.at(i - 1);
    }
    return seconds;
}

bool hasTime(const RawRecord& record)
{
    return parseFields(record).recordType < firstWithoutTime;
}

bool comesFromSetClock(uint32_t time)
{
    return time > lastTimeSinceStart;
}

bool isEvent(const RawRecord& record)
{
    return parseFields(record).recordType == eventRecord;
}

bool isAssertion(const RawRecord& record)
{
    return (parseFields(record).eventDirectionAndType & deassertion) == 0;
}

SELInterface::SELRecord parseFields(const RawRecord& record)
{
    return std::bit_cast<SELInterface::SELRecord>(record);
}

} // namespace healthintf::healthctl
