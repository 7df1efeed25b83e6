#include "platform/PropertyListDate.h"

#include <chrono>

namespace morv {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::string_view kPattern = "0000-00-00T00:00:00Z";  // a zero stands for any digit

bool isDigit(char c) { return c >= '0' && c <= '9'; }

int numberAt(std::string_view text, std::size_t at, std::size_t digits) {
  int number = 0;
  for (std::size_t i = at; i < at + digits; ++i) number = number * 10 + (text[i] - '0');
  return number;
}

// Writes a number of `digits` digits at a place of the text.
void putNumber(std::string* text, std::size_t at, std::size_t digits, unsigned number) {
  for (std::size_t i = at + digits; i > at; --i) {
    (*text)[i - 1] = static_cast<char>('0' + number % 10);
    number /= 10;
  }
}

}  // namespace

std::optional<std::string> textOfDate(PropertyListDate date) {
  if (date.secondsSince1970 < kFirstPropertyListDate.secondsSince1970 ||
      date.secondsSince1970 > kLastPropertyListDate.secondsSince1970)
    return std::nullopt;
  const std::chrono::sys_seconds moment{std::chrono::seconds{date.secondsSince1970}};
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day calendar{day};
  const auto second = static_cast<unsigned>((moment - day).count());
  std::string text(kPattern);
  putNumber(&text, 0, 4, static_cast<unsigned>(static_cast<int>(calendar.year())));
  putNumber(&text, 5, 2, static_cast<unsigned>(calendar.month()));
  putNumber(&text, 8, 2, static_cast<unsigned>(calendar.day()));
  putNumber(&text, 11, 2, second / 3600);
  putNumber(&text, 14, 2, second / 60 % 60);
  putNumber(&text, 17, 2, second % 60);
  return text;
}

std::optional<PropertyListDate> dateOfText(std::string_view text) {
  if (text.size() != kPattern.size()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kPattern[i] == '0' ? !isDigit(text[i]) : text[i] != kPattern[i]) return std::nullopt;
  }
  const int year = numberAt(text, 0, 4);
  const std::chrono::year_month_day calendar{std::chrono::year{year},
                                             std::chrono::month{static_cast<unsigned>(numberAt(text, 5, 2))},
                                             std::chrono::day{static_cast<unsigned>(numberAt(text, 8, 2))}};
  const std::int64_t hour = numberAt(text, 11, 2);
  const std::int64_t minute = numberAt(text, 14, 2);
  const std::int64_t second = numberAt(text, 17, 2);
  if (year < 1 || !calendar.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::int64_t day = std::chrono::sys_days{calendar}.time_since_epoch().count();
  return PropertyListDate{day * kSecondsPerDay + hour * kSecondsPerHour + minute * 60 + second};
}

}  // namespace morv
