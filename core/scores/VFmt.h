#pragma once

#include <cstdint>
#include <string>

namespace vitrek {

// Text forms of ages, hours, byte counts and uptimes.
namespace VFmt {

// "3.4 years" from one year up, else whole months ("1 month", "5 months").
std::string age(double years);
// "Right on its age" within a month, else "4 months younger" / "1.3 years older".
std::string ageDifference(double years);
// "45 min", "2 h 5 min".
std::string hours(double seconds);
// Decimal units: "512 GB", "23.4 GB", "640 MB".
std::string bytes(std::int64_t bytes);
// "9 days", "5 hours", "Just now".
std::string uptime(double seconds);

} // namespace VFmt
} // namespace vitrek
