#include "shell/LocaleDates.h"

#include "time/Calendar.h"

#include <QDate>
#include <QTime>
#include <algorithm>
#include <iterator>
#include <vector>

namespace vitrek {

namespace {

// A date or time format pattern cut into its fields ("dddd", "MMMM", "yyyy", "h", "mm", "AP") and the
// literal text between them, so a field can be dropped or shortened whatever the language's order.
struct Token {
    QString raw;  // as written in the pattern, quotes included
    QString text; // what it shows (literals only)
    QChar letter; // the field's letter; null for literal text
    bool isField() const { return !letter.isNull(); }
};

using Pattern = std::vector<Token>;

const QString kRunLetters = QStringLiteral("dMyhHmszt");

Pattern parse(const QString& format) {
    Pattern pattern;
    const auto addLiteral = [&pattern](const QString& raw, const QString& text) {
        if (!pattern.empty() && !pattern.back().isField()) {
            pattern.back().raw += raw;
            pattern.back().text += text;
        } else {
            pattern.push_back(Token{raw, text, QChar{}});
        }
    };
    qsizetype i = 0;
    while (i < format.size()) {
        const QChar c = format[i];
        qsizetype end = i + 1;
        if (c == u'\'') {
            // Quoted text; two quotes in a row stand for one.
            QString text;
            while (end < format.size()) {
                if (format[end] == u'\'' && end + 1 < format.size() && format[end + 1] == u'\'') {
                    text += u'\'';
                    end += 2;
                } else if (format[end] == u'\'') {
                    ++end;
                    break;
                } else {
                    text += format[end++];
                }
            }
            addLiteral(format.mid(i, end - i), end == i + 2 ? QStringLiteral("'") : text);
        } else if (kRunLetters.contains(c)) {
            while (end < format.size() && format[end] == c) {
                ++end;
            }
            pattern.push_back(Token{format.mid(i, end - i), {}, c});
        } else if (c == u'a' || c == u'A') {
            if (end < format.size() && (format[end] == u'p' || format[end] == u'P')) {
                ++end;
            }
            pattern.push_back(Token{format.mid(i, end - i), {}, QChar{u'a'}});
        } else {
            addLiteral(QString{c}, QString{c});
        }
        i = end;
    }
    return pattern;
}

QString joined(const Pattern& pattern) {
    QString format;
    for (const Token& token : pattern) {
        format += token.raw;
    }
    return format;
}

// Punctuation and spaces only: a separator between fields rather than a word that belongs to one.
bool isSeparator(const Token& token) {
    return !token.isField() && std::all_of(token.text.begin(), token.text.end(),
                                           [](QChar c) { return c.isSpace() || c.isPunct(); });
}

bool hasField(Pattern::const_iterator from, Pattern::const_iterator to) {
    return std::any_of(from, to, [](const Token& token) { return token.isField(); });
}

// Drops the field at `index` with the separator that joined it to the rest: the one before it when it is
// last or in the middle ("dddd, MMMM d, yyyy" loses ", yyyy"), the one after it when it is first.
void removeField(Pattern& pattern, std::size_t index) {
    auto field = pattern.begin() + static_cast<std::ptrdiff_t>(index);
    // A word right after a field is its own ("yyyy年", "yyyy 'г'.").
    if (std::next(field) != pattern.end() && !isSeparator(*std::next(field))) {
        pattern.erase(std::next(field));
    }
    field = pattern.erase(field);
    const bool before = hasField(pattern.begin(), field);
    if (!hasField(field, pattern.end())) {
        field = pattern.erase(field, pattern.end());
    }
    const bool after = hasField(field, pattern.end());
    if (!before) {
        if (field != pattern.end() && isSeparator(*field)) {
            pattern.erase(field);
        }
        return;
    }
    const auto previous = std::prev(field);
    if (previous->isField()) {
        return;
    }
    if (!isSeparator(*previous)) {
        // A word of the field before stays ("5일"), but not the space that led to the removed one.
        while (!after && !previous->raw.isEmpty() && previous->raw.back().isSpace()) {
            previous->raw.chop(1);
        }
        return;
    }
    // The dot after a day number is an ordinal ("4., Dienstag" keeps "4."), not a separator.
    const bool ordinalDot = !after && previous->text.startsWith(u'.') && previous != pattern.begin() &&
                            std::prev(previous)->letter == u'd' && std::prev(previous)->raw.size() <= 2;
    if (ordinalDot) {
        *previous = Token{QStringLiteral("."), QStringLiteral("."), QChar{}};
    } else {
        pattern.erase(previous);
    }
}

void removeFields(Pattern& pattern, QChar letter, qsizetype minimumLength = 1) {
    for (std::size_t i = pattern.size(); i-- > 0;) {
        if (i < pattern.size() && pattern[i].letter == letter && pattern[i].raw.size() >= minimumLength) {
            removeField(pattern, i);
        }
    }
}

// Full names become abbreviated ones: "dddd" to "ddd", "MMMM" to "MMM".
void abbreviate(Pattern& pattern, QChar letter) {
    for (Token& token : pattern) {
        if (token.letter == letter && token.raw.size() == 4) {
            token.raw.chop(1);
        }
    }
}

class LocaleDateFormatter final : public DateFormatter {
public:
    explicit LocaleDateFormatter(const QLocale& locale) : m_locale(locale) {
        // A clock time is hours and minutes in the locale's order and clock. Some short forms carry
        // seconds (the C locale's is "HH:mm:ss") or a zone name, which is the machine's rather than the
        // calendar's; both go.
        Pattern time = parse(locale.timeFormat(QLocale::ShortFormat));
        removeFields(time, u's');
        removeFields(time, u'z');
        removeFields(time, u't');
        m_timeFormat = joined(time);

        Pattern hour = time;
        removeFields(hour, u'm');
        m_hourFormat = joined(hour);

        const Pattern full = parse(locale.dateFormat(QLocale::LongFormat));
        Pattern longDay = full;
        removeFields(longDay, u'y');
        m_longDayFormat = joined(longDay);

        Pattern weekdayDay = longDay;
        abbreviate(weekdayDay, u'M');
        m_weekdayDayFormat = joined(weekdayDay);

        Pattern dayMonth = weekdayDay;
        removeFields(dayMonth, u'd', 3);
        m_dayMonthFormat = joined(dayMonth);

        Pattern day = weekdayDay;
        abbreviate(day, u'd');
        m_dayFormat = joined(day);

        // Only the weekday's name goes; a day number ("d") stays.
        Pattern date = full;
        removeFields(date, u'd', 3);
        abbreviate(date, u'M');
        m_dateFormat = joined(date);
    }

    std::string time(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        return local ? text(m_locale.toString(wallClock(*local), m_timeFormat)) : std::string{};
    }
    std::string hour(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        return local ? text(m_locale.toString(wallClock(*local), m_hourFormat)) : std::string{};
    }
    std::string clockTime(Instant date, const Calendar& calendar) const override {
        return time(date, calendar);
    }
    std::string day(Instant date, const Calendar& calendar) const override {
        return dateText(date, calendar, m_dayFormat);
    }
    std::string longDay(Instant date, const Calendar& calendar) const override {
        return dateText(date, calendar, m_longDayFormat);
    }
    std::string weekdayDay(Instant date, const Calendar& calendar) const override {
        return dateText(date, calendar, m_weekdayDayFormat);
    }
    std::string date(Instant date, const Calendar& calendar) const override {
        return dateText(date, calendar, m_dateFormat);
    }
    std::string dayMonth(Instant date, const Calendar& calendar) const override {
        return dateText(date, calendar, m_dayMonthFormat);
    }
    std::string weekday(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        return local ? text(m_locale.dayName(calendarDate(*local).dayOfWeek(), QLocale::LongFormat))
                     : std::string{};
    }

private:
    // Built from the calendar's fields, never through the machine's own zone.
    static QDate calendarDate(const LocalDateTime& local) {
        return QDate{local.year, local.month, local.day};
    }
    static QTime wallClock(const LocalDateTime& local) {
        return QTime{local.hour, local.minute, local.second};
    }
    static std::string text(const QString& text) { return text.toStdString(); }

    std::string dateText(Instant date, const Calendar& calendar, const QString& format) const {
        const auto local = calendar.local(date);
        return local ? text(m_locale.toString(calendarDate(*local), format)) : std::string{};
    }

    QLocale m_locale;
    QString m_timeFormat;
    QString m_hourFormat;
    QString m_longDayFormat;
    QString m_weekdayDayFormat;
    QString m_dayFormat;
    QString m_dateFormat;
    QString m_dayMonthFormat;
};

} // namespace

std::shared_ptr<const DateFormatter> localeDateFormatter(const QLocale& locale) {
    return std::make_shared<const LocaleDateFormatter>(locale);
}

} // namespace vitrek
