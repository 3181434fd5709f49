// SPDX-License-Identifier: Apache-2.0
#include "ipmi_states.hpp"

namespace healthintf::test
{

using enum Fault;

const std::vector<IpmiType>& ipmiEventTypes()
{
    static const std::vector<IpmiType> types{
        {0x01,
         "threshold",
         {
             {0x00, assertedWarning, {"lower", "non-critical", "below"}},
             {0x01, deassertedWarning, {"lower", "non-critical", "above"}},
             {0x02, assertedCritical, {"lower", "critical", "below"}},
             {0x03, deassertedCritical, {"lower", "critical", "above"}},
             {0x04, assertedCritical, {"lower", "non-recoverable", "below"}},
             {0x05, deassertedCritical, {"lower", "non-recoverable", "above"}},
             {0x06, deassertedWarning, {"upper", "non-critical", "below"}},
             {0x07, assertedWarning, {"upper", "non-critical", "above"}},
             {0x08, deassertedCritical, {"upper", "critical", "below"}},
             {0x09, assertedCritical, {"upper", "critical", "above"}},
             {0x0A, deassertedCritical, {"upper", "non-recoverable", "below"}},
             {0x0B, assertedCritical, {"upper", "non-recoverable", "above"}},
         }},
        {0x02,
         "usage",
         {
             {0x00, none, {"idle"}},
             {0x01, none, {"active"}},
             {0x02, none, {"busy"}},
         }},
        {0x03,
         "digital",
         {
             {0x00, none, {"state", "as deasserted"}},
             {0x01, assertedWarning, {"state", "as asserted"}},
         }},
        {0x04,
         "predictive",
         {
             {0x00, deassertedWarning, {"failure"}},
             {0x01, assertedWarning, {"predict", "failure"}},
         }},
        {0x05,
         "limit",
         {
             {0x00, deassertedWarning, {"within its limit"}},
             {0x01, assertedWarning, {"limit", "exceed"}},
         }},
        {0x06,
         "performance",
         {
             {0x00, deassertedWarning, {"perform", "as expected"}},
             {0x01, assertedWarning, {"performance", "lag"}},
         }},
        {0x07,
         "severity",
         {
             {0x00, none, {"OK"}},
             {0x01, assertedWarning, {"non-critical", "OK"}},
             {0x02, assertedCritical, {"critical", "less severe"}},
             {0x03, assertedCritical, {"non-recoverable", "less severe"}},
             {0x04, assertedWarning, {"non-critical", "more severe"}},
             {0x05, assertedCritical, {"critical", "non-recoverable"}},
             {0x06, assertedCritical, {"non-recoverable"}},
             {0x07, none, {"monitored"}},
             {0x08, none, {"informational"}},
         }},
        {0x08,
         "presence",
         {
             {0x00, assertedWarning, {"device", "absent"}},
             {0x01, deassertedWarning, {"device", "present"}},
         }},
        {0x09,
         "enabling",
         {
             {0x00, assertedWarning, {"device", "disabled"}},
             {0x01, deassertedWarning, {"device", "enabled"}},
         }},
        {0x0A,
         "availability",
         {
             {0x00, deassertedWarning, {"running"}},
             {0x01, none, {"test"}},
             {0x02, none, {"power", "off"}},
             {0x03, deassertedWarning, {"on line"}},
             {0x04, assertedWarning, {"off line"}},
             {0x05, none, {"off duty"}},
             {0x06, assertedWarning, {"degraded"}},
             {0x07, none, {"power save"}},
             {0x08, assertedCritical, {"install error"}},
         }},
        {0x0B,
         "redundancy",
         {
             {0x00, deassertedWarning, {"fully redundant"}},
             {0x01, assertedCritical, {"redundancy", "lost"}},
             {0x02, assertedWarning, {"degraded", "redundancy"}},
             {0x03, assertedWarning, {"non-redundant", "redundant"}},
             {0x04, assertedWarning, {"non-redundant", "insufficient"}},
             {0x05, assertedCritical, {"insufficient resources"}},
             {0x06, assertedWarning, {"degraded", "full"}},
             {0x07, assertedWarning, {"degraded", "non"}},
         }},
        {0x0C,
         "power state",
         {
             {0x00, none, {"D0"}},
             {0x01, none, {"D1"}},
             {0x02, none, {"D2"}},
             {0x03, none, {"D3"}},
         }},
    };
    return types;
}

} // namespace healthintf::test
