#include "Formats/ScalarText.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace mox {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view whiteSpace = " \t\r\n";
    const std::size_t start = text.find_first_not_of(whiteSpace);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(whiteSpace) - start + 1);
}

/// Takes a sign from the front of `text`; whether it was "-".
bool takeSign(std::string_view& text) {
    if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
    const bool isNegative = text.front() == '-';
    text.remove_prefix(1);
    return isNegative;
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Takes the digits from the front of `text`; whether there was one.
bool takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const bool found = end != text.begin();
    text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
    return found;
}

bool isDecimalNumber(std::string_view text) {
    takeSign(text);
    bool hasDigits = takeDigits(text);
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        hasDigits |= takeDigits(text);
    }
    if (!hasDigits) return false;
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        takeSign(text);
        if (!takeDigits(text)) return false;
    }
    return text.empty();
}

bool equalsLowerCase(std::string_view text, std::string_view word) {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char one, char lower) {
        return (one >= 'A' && one <= 'Z' ? static_cast<char>(one - 'A' + 'a') : one) == lower;
    });
}

/// What the process's locale puts between a number's whole part and its fraction: the C library's functions
/// read and write that, and the locale belongs to the program that loaded us.
std::string decimalPoint() {
    std::array<char, 16> buffer{};
    const int length = std::snprintf(buffer.data(), buffer.size(), "%.1f", 1.5);
    return std::string(buffer.data() + 1, static_cast<std::size_t>(length) - 2);
}

constexpr std::int64_t secondsOfDay = 86'400;

/// Days from 1970-01-01 to a day of the Gregorian calendar, counted in eras of 400 years that begin in March,
/// so that the day that leap years add is each year's last.
constexpr std::int64_t daysSince1970(std::int64_t year, unsigned month, unsigned day) {
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146'097 + dayOfEra - 719'468;
}

constexpr std::int64_t daysTo2001 = daysSince1970(2001, 1, 1);

struct Day {
    std::int64_t year;
    unsigned month;
    unsigned day;
};

/// The opposite of `daysSince1970`.
Day dayFromDaysSince1970(std::int64_t days) {
    days += 719'468;
    const std::int64_t era = (days >= 0 ? days : days - 146'096) / 146'097;
    const std::int64_t dayOfEra = days - era * 146'097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    const std::int64_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const std::int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    return {year, static_cast<unsigned>(month), static_cast<unsigned>(day)};
}

} // namespace

std::optional<PropertyList> integerFromText(std::string_view text) {
    text = trimmed(text);
    const bool isNegative = takeSign(text);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const char* end = text.data() + text.size();
    const auto [position, failure] = std::from_chars(text.data(), end, magnitude, base);
    if (failure != std::errc() || position != end) return std::nullopt;
    if (!isNegative) return PropertyList::unsignedInteger(magnitude);
    constexpr std::uint64_t lowestMagnitude = std::uint64_t{1} << 63;
    if (magnitude > lowestMagnitude) return std::nullopt;
    return PropertyList::integer(static_cast<std::int64_t>(0 - magnitude));
}

std::optional<double> realFromText(std::string_view text) {
    text = trimmed(text);
    std::string_view word = text;
    const bool isNegative = takeSign(word);
    if (equalsLowerCase(word, "nan")) return std::numeric_limits<double>::quiet_NaN();
    if (equalsLowerCase(word, "inf") || equalsLowerCase(word, "infinity")) {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        return isNegative ? -infinity : infinity;
    }
    if (!isDecimalNumber(text)) return std::nullopt;
    std::string number(text);
    if (const std::size_t point = number.find('.'); point != std::string::npos) {
        number.replace(point, 1, decimalPoint());
    }
    return std::strtod(number.c_str(), nullptr);
}

std::optional<PropertyList::Date> dateFromText(std::string_view text) {
    text = trimmed(text);
    constexpr std::string_view pattern = "0000-00-00T00:00:00Z";
    const bool matches =
        std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                   [](char one, char expected) { return expected == '0' ? isDigit(one) : one == expected; });
    if (!matches) return std::nullopt;
    const auto number = [text](std::size_t start, std::size_t length) {
        unsigned value = 0;
        for (const char digit : text.substr(start, length))
            value = value * 10 + static_cast<unsigned>(digit - '0');
        return value;
    };
    const unsigned year = number(0, 4);
    const unsigned month = number(5, 2);
    const unsigned day = number(8, 2);
    const unsigned hour = number(11, 2);
    const unsigned minute = number(14, 2);
    const unsigned second = number(17, 2);
    if (year == 0 || month < 1 || month > 12 || day < 1 || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    const std::int64_t days = daysSince1970(year, month, day);
    if (dayFromDaysSince1970(days).day != day) return std::nullopt;
    const std::int64_t seconds =
        (days - daysTo2001) * secondsOfDay + std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
    return PropertyList::Date{static_cast<double>(seconds)};
}

void appendInteger(std::string& text, const PropertyList& integer) {
    std::array<char, 24> buffer{};
    const auto negative = integer.integer();
    const auto outcome =
        negative ? std::to_chars(buffer.data(), buffer.data() + buffer.size(), *negative)
                 : std::to_chars(buffer.data(), buffer.data() + buffer.size(), *integer.unsignedInteger());
    text.append(buffer.data(), outcome.ptr);
}

void appendReal(std::string& text, double value) {
    if (std::isnan(value)) {
        text += "nan";
    } else if (std::isinf(value)) {
        text += value > 0 ? "+infinity" : "-infinity";
    } else if (value == 0) {
        text += "0.0";
    } else {
        std::array<char, 48> buffer{};
        const int length = std::snprintf(buffer.data(), buffer.size(), "%.17g", value);
        std::string number(buffer.data(), static_cast<std::size_t>(length));
        constexpr std::string_view own = "0123456789+-e";
        if (const std::size_t start = number.find_first_not_of(own); start != std::string::npos) {
            number.replace(start, number.find_last_not_of(own) - start + 1, ".");
        }
        text += number;
    }
}

bool appendDate(std::string& text, PropertyList::Date date) {
    constexpr auto earliest = static_cast<double>((daysSince1970(1, 1, 1) - daysTo2001) * secondsOfDay);
    constexpr auto end = static_cast<double>((daysSince1970(10'000, 1, 1) - daysTo2001) * secondsOfDay);
    if (!(date.secondsSince2001 >= earliest && date.secondsSince2001 < end)) return false;
    const auto seconds =
        static_cast<std::int64_t>(std::floor(date.secondsSince2001)) + daysTo2001 * secondsOfDay;
    const std::int64_t days = (seconds >= 0 ? seconds : seconds - (secondsOfDay - 1)) / secondsOfDay;
    const auto rest = static_cast<unsigned>(seconds - days * secondsOfDay);
    const Day day = dayFromDaysSince1970(days);
    std::array<char, 64> buffer{};
    const int length =
        std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02uT%02u:%02u:%02uZ",
                      static_cast<int>(day.year), day.month, day.day, rest / 3600, rest / 60 % 60, rest % 60);
    text.append(buffer.data(), static_cast<std::size_t>(length));
    return true;
}

} // namespace mox
