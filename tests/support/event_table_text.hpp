// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Builds the text of event table files. */

#include <string>

namespace healthintf::test
{

/** A state with two messages whose identifiers end in @p number. */
inline std::string eventState(const std::string& category,
                              const std::string& number)
{
    return R"({
"Asserted": {"Id": ")" +
           category + number +
           R"(", "Severity": "Critical", "Text": "{sensor} broke.",
             "Lcd": "{category} {number} broke"},
"Deasserted": {"Id": ")" +
           category + "9" + number +
           R"(", "Severity": "Informational", "Text": "{sensor} works.",
               "Lcd": "{category} {number} works"}})";
}

/** A file with one sensor type and its states. */
inline std::string sensorTypeFile(const std::string& code,
                                  const std::string& category,
                                  const std::string& states)
{
    return R"({"SensorTypes": {")" + code +
           R"(": {"Name": "Blade", "Category": ")" + category +
           R"(", "Component": "Blade", "Offsets": {)" + states + "}}}}";
}

/** A file with one event type and its states. */
inline std::string eventTypeFile(const std::string& code,
                                 const std::string& states)
{
    return R"({"EventTypes": {")" + code +
           R"(": {"Name": "Own", "Offsets": {)" + states + "}}}}";
}

} // namespace healthintf::test
