#pragma once

// The words and days every client of the briefing service is held to, as data.
namespace BriefingVectors {

struct DayCase {
    const char* today;
    const char* expected;
};
// Across a month end, a year end, a leap day and both clock changes of the United States.
inline constexpr DayCase chase[] = {
    {"2026-08-07", "2026-08-14"}, {"2026-08-28", "2026-09-04"}, {"2026-12-28", "2027-01-04"},
    {"2028-02-25", "2028-03-03"}, {"2027-03-11", "2027-03-18"}, {"2027-11-04", "2027-11-11"},
};

struct PersonCase {
    const char* source; // null: no source
    const char* expected;
};
inline constexpr PersonCase person[] = {
    {"Dana Whitfield", "Dana Whitfield"},
    {"You → Dana", "Dana"},
    {"You → ", nullptr},
    {"Tuesday's standup", nullptr},
    {"the Q3 planning meeting", nullptr},
    {"weekly sync", nullptr},
    {"design review", nullptr},
    {"call with the vendor", nullptr},
    {"   ", nullptr},
    {nullptr, nullptr},
};

struct TitleCase {
    const char* title;
    const char* source;
    const char* expected;
};
inline constexpr TitleCase escalationTitle[] = {
    {"Signed contract back from legal", "Dana Whitfield",
     "Schedule a call with Dana Whitfield about Signed contract back from legal"},
    {"Signed contract back from legal", "You → Dana",
     "Schedule a call with Dana about Signed contract back from legal"},
    {"Signed contract back from legal", "Tuesday's standup",
     "Schedule a call about Signed contract back from legal"},
    {"Signed contract back from legal", nullptr,
     "Schedule a call about Signed contract back from legal"},
    {"  Signed contract back from legal  ", nullptr,
     "Schedule a call about Signed contract back from legal"},
};

struct ReceiptCase {
    const char* action;
    const char* title;
    const char* expected;
};
inline constexpr ReceiptCase receipts[] = {
    {"drop", "Signed contract back from legal", "Deleted “Signed contract back from legal”"},
};

} // namespace BriefingVectors
