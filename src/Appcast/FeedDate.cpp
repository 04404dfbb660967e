#include "FeedDate.h"

#include <Base/Text.h>

#include <array>
#include <ctime>
#include <utility>

#include <fmt/format.h>

namespace halvo {
namespace {

using namespace std::chrono;

// Fixed, because strftime and strptime follow the locale.
constexpr std::array<std::string_view, 7> dayNames{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                   "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> monthNames{"January",   "February", "March",    "April",
                                                      "May",       "June",     "July",     "August",
                                                      "September", "October",  "November", "December"};
constexpr std::size_t abbreviation = 3;

/// RFC 822, section 5.1; in hours from UTC.
constexpr std::array<std::pair<std::string_view, int>, 12> zoneNames{{{"z", 0},
                                                                      {"ut", 0},
                                                                      {"utc", 0},
                                                                      {"gmt", 0},
                                                                      {"est", -5},
                                                                      {"edt", -4},
                                                                      {"cst", -6},
                                                                      {"cdt", -5},
                                                                      {"mst", -7},
                                                                      {"mdt", -6},
                                                                      {"pst", -8},
                                                                      {"pdt", -7}}};

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}
bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Takes a date apart from the front.
class DateReader {
public:
    explicit DateReader(std::string_view text) : rest(text) {}

    void skipBlanks() {
        while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t'))
            rest.remove_prefix(1);
    }

    bool take(char expected) {
        if (rest.empty() || rest.front() != expected)
            return false;
        rest.remove_prefix(1);
        return true;
    }

    /// The letters at the front, in lower case; none gives empty text.
    std::string word() {
        std::size_t length = 0;
        while (length < rest.size() && isLetter(rest[length]))
            ++length;
        std::string letters = lowercased(rest.substr(0, length));
        rest.remove_prefix(length);
        return letters;
    }

    std::optional<unsigned> number(std::size_t fewest, std::size_t most) {
        std::size_t length = 0;
        unsigned value = 0;
        while (length < most && length < rest.size() && isDigit(rest[length]))
            value = value * 10 + static_cast<unsigned>(rest[length++] - '0');
        if (length < fewest)
            return std::nullopt;
        rest.remove_prefix(length);
        return value;
    }

    bool atEnd() const { return rest.empty(); }

private:
    std::string_view rest;
};

/// Which of the names it is, in full or abbreviated.
template<std::size_t count>
std::optional<unsigned> indexOf(const std::array<std::string_view, count>& names, std::string_view word) {
    for (unsigned index = 0; index < count; ++index) {
        const std::string name = lowercased(names[index]);
        if (word == name || word == std::string_view(name).substr(0, abbreviation))
            return index;
    }
    return std::nullopt;
}

std::optional<minutes> readZone(DateReader& reader) {
    const bool west = reader.take('-');
    if (!west && !reader.take('+')) {
        const std::string word = reader.word();
        for (const auto& [name, offset] : zoneNames)
            if (word == name)
                return hours(offset);
        return std::nullopt;
    }
    const auto hour = reader.number(2, 2);
    reader.take(':');
    const auto minute = reader.number(2, 2);
    if (!hour || !minute || *hour > 23 || *minute > 59)
        return std::nullopt;
    const minutes offset(*hour * 60 + *minute);
    return west ? -offset : offset;
}

} // namespace

std::string formatFeedDate(Date date) {
    const std::time_t moment = floor<seconds>(date).time_since_epoch().count();
    std::tm local{};
    if (::localtime_r(&moment, &local) == nullptr)
        local = {};
    const long offset = local.tm_gmtoff / 60;
    const long distance = offset < 0 ? -offset : offset;
    return fmt::format(
        "{}, {:02} {} {:04} {:02}:{:02}:{:02} {}{:02}{:02}",
        dayNames.at(static_cast<std::size_t>(local.tm_wday)).substr(0, abbreviation), local.tm_mday,
        monthNames.at(static_cast<std::size_t>(local.tm_mon)).substr(0, abbreviation), local.tm_year + 1900,
        local.tm_hour, local.tm_min, local.tm_sec, offset < 0 ? '-' : '+', distance / 60, distance % 60);
}

std::optional<Date> parseFeedDate(std::string_view text) {
    DateReader reader(trimmed(text));
    const bool startsWithDay = indexOf(dayNames, reader.word()).has_value() && reader.take(',');
    reader.skipBlanks();
    const auto day = reader.number(1, 2);
    reader.skipBlanks();
    const auto month = indexOf(monthNames, reader.word());
    reader.skipBlanks();
    const auto year = reader.number(4, 4);
    reader.skipBlanks();
    const auto hour = reader.number(1, 2);
    const bool firstColon = reader.take(':');
    const auto minute = reader.number(2, 2);
    const bool secondColon = reader.take(':');
    const auto second = reader.number(2, 2);
    reader.skipBlanks();
    const auto offset = readZone(reader);
    if (!startsWithDay || !day || !month || !year || !hour || !minute || !second || !firstColon ||
        !secondColon || !offset || !reader.atEnd())
        return std::nullopt;
    const auto local =
        dateFromCivilTime({static_cast<int>(*year), *month + 1, *day, *hour, *minute, *second});
    if (!local)
        return std::nullopt;
    return *local - *offset;
}

} // namespace halvo
