#include "ftp/ListingParser.h"

#include <algorithm>
#include <array>
#include <climits>

#include <QFile>
#include <QRegularExpression>

#include "support/NameBytes.h"
#include "support/TextFormat.h"

namespace {

constexpr std::array<const char*, 12> kMonths { "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct",
    "Nov", "Dec" };

// Servers whose ls runs in another language name the months in it: German, French, Spanish, Italian, Dutch,
// Swedish and Portuguese, as their ls abbreviates them (the French with a full stop, which is dropped before the
// look-up). No abbreviation stands for two different months across these languages.
struct LocalMonth
{
    const char16_t* pName;
    int nIndex;
};
constexpr LocalMonth kLocalMonths[] = { { u"mär", 2 }, { u"mrz", 2 }, { u"mai", 4 }, { u"okt", 9 }, { u"dez", 11 },
    { u"janv", 0 }, { u"févr", 1 }, { u"fevr", 1 }, { u"mars", 2 }, { u"avr", 3 }, { u"juin", 5 }, { u"juil", 6 },
    { u"août", 7 }, { u"aout", 7 }, { u"sept", 8 }, { u"déc", 11 }, { u"ene", 0 }, { u"abr", 3 }, { u"ago", 7 },
    { u"dic", 11 }, { u"gen", 0 }, { u"mag", 4 }, { u"giu", 5 }, { u"lug", 6 }, { u"set", 8 }, { u"ott", 9 },
    { u"mrt", 2 }, { u"mei", 4 }, { u"maj", 4 }, { u"fev", 1 }, { u"out", 9 } };

// File systems allow 255 bytes a name.
constexpr qsizetype kMaxNameBytes = 255;

// The C library's string-to-long rule on a text: optional blanks, an optional sign, leading digits; 0
// without digits; saturated at the given limits instead of overflowing.
long long LeadingNumber(QStringView text, long long nMin, long long nMax)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace()) {
        ++i;
    }
    bool bNegative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('+') || text.at(i) == QLatin1Char('-'))) {
        bNegative = text.at(i) == QLatin1Char('-');
        ++i;
    }
    long long nValue = 0;
    for (; i < text.size() && text.at(i) >= QLatin1Char('0') && text.at(i) <= QLatin1Char('9'); ++i) {
        const int nDigit = text.at(i).unicode() - '0';
        if (!bNegative && nValue > (nMax - nDigit) / 10) {
            return nMax;
        }
        if (bNegative && -nValue < (nMin + nDigit) / 10) {
            return nMin;
        }
        nValue = nValue * 10 + nDigit;
    }
    return bNegative ? -nValue : nValue;
}

int MonthIndex(const QString& strMonth)
{
    for (size_t i = 0; i < kMonths.size(); ++i) {
        if (strMonth.compare(QLatin1String(kMonths[i]), Qt::CaseInsensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    const QStringView name = strMonth.endsWith(QLatin1Char('.')) ? QStringView(strMonth).chopped(1) : strMonth;
    for (const LocalMonth& month : kLocalMonths) {
        if (name.compare(QStringView(month.pName), Qt::CaseInsensitive) == 0) {
            return month.nIndex;
        }
    }
    return -1;
}

bool StartsWithDigit(const QString& text)
{
    return !text.isEmpty() && text.at(0).isDigit();
}

bool IsDecimal(QStringView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar ch) {
        return ch >= QLatin1Char('0') && ch <= QLatin1Char('9');
    });
}

// "1" to "31", as a day of the month is listed.
bool IsDayOfMonth(QStringView text)
{
    if (text.size() > 2 || !IsDecimal(text)) {
        return false;
    }
    const int nDay = text.toInt();
    return nDay >= 1 && nDay <= 31;
}

// "10:30" or "9:05" (a time of this year), or a four-digit year.
bool IsTimeOrYear(QStringView text)
{
    const qsizetype nColon = text.indexOf(QLatin1Char(':'));
    if (nColon < 0) {
        return text.size() == 4 && IsDecimal(text) && text.toInt() >= 1900;
    }
    const QStringView hour = text.left(nColon);
    const QStringView minute = text.mid(nColon + 1);
    return (hour.size() == 1 || hour.size() == 2) && IsDecimal(hour) && hour.toInt() <= 23 && minute.size() == 2
        && IsDecimal(minute) && minute.toInt() <= 59;
}

// "total 12", the first line of a Unix listing, which counts blocks and names nothing.
bool IsTotalLine(const QString& strLine)
{
    const QStringList fields = strLine.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return fields.size() == 2 && fields[0].compare(QLatin1String("total"), Qt::CaseInsensitive) == 0
        && StartsWithDigit(fields[1]);
}

} // namespace

ListingYears ListingYears::Now()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc {};
    std::tm local {};
    gmtime_r(&now, &utc);
    localtime_r(&now, &local);
    return { utc.tm_year + 1900, local.tm_year + 1900 };
}

std::int64_t ExactSizeFromText(QStringView text)
{
    if (text.isEmpty() || text.size() > 18) {
        return -1;
    }
    std::int64_t nValue = 0;
    for (const QChar ch : text) {
        if (ch < QLatin1Char('0') || ch > QLatin1Char('9')) {
            return -1;
        }
        nValue = nValue * 10 + (ch.unicode() - '0');
    }
    return nValue;
}

bool IsPermissionText(const QString& strField)
{
    static const QString kTypes = QStringLiteral("-dlbcpsDn");
    static const QString kModes = QStringLiteral("-rwxsStTlL");
    if (strField.size() < 10 || !kTypes.contains(strField.at(0))) {
        return false;
    }
    for (qsizetype i = 1; i < 10; ++i) {
        if (!kModes.contains(strField.at(i))) {
            return false;
        }
    }
    return true;
}

std::int64_t SizeFromListing(const QString& strSizeText)
{
    return LeadingNumber(strSizeText, INT32_MIN, INT32_MAX);
}

std::int64_t DateFromListing(
    const QString& strMonth, const QString& strDay, const QString& strTimeOrYear, const ListingYears& years)
{
    std::tm when {};
    if (StartsWithDigit(strMonth)) {
        when.tm_mon = static_cast<int>(LeadingNumber(strMonth, -1000, 1000)) - 1;
    } else {
        // A month name that is not understood counts as January.
        when.tm_mon = std::max(0, MonthIndex(strMonth));
    }
    when.tm_mday = static_cast<int>(LeadingNumber(strDay, -100000, 100000));
    if (!strTimeOrYear.contains(QLatin1Char(':'))) {
        when.tm_year = static_cast<int>(LeadingNumber(strTimeOrYear, -100000, 100000)) - 1900;
    } else {
        when.tm_year = years.nUtcYear - 1900;
        when.tm_hour = static_cast<int>(LeadingNumber(strTimeOrYear.left(2), -1000, 1000)) - 1;
        when.tm_min = static_cast<int>(LeadingNumber(strTimeOrYear.right(2), -1000, 1000));
    }
    when.tm_isdst = 0;
    const std::time_t nSeconds = std::mktime(&when);
    return nSeconds == static_cast<std::time_t>(-1) ? 0 : static_cast<std::int64_t>(nSeconds);
}

QString DateKeyFromListing(
    const QString& strMonth, const QString& strDay, const QString& strTimeOrYear, const ListingYears& years)
{
    const int nMonth = MonthIndex(strMonth);
    const QString strMonthPart = nMonth >= 0 ? FormatText("%02d", nMonth + 1) : QString();
    const QString strDayPart = strDay.size() == 1 ? QLatin1Char('0') + strDay : strDay;
    QString strYear;
    QString strTime;
    if (!strTimeOrYear.contains(QLatin1Char(':'))) {
        strYear = strTimeOrYear;
        strTime = QStringLiteral("00:00");
    } else {
        strYear = FormatText("%.04d", years.nLocalYear);
        strTime = strTimeOrYear;
    }
    strTime.remove(QLatin1Char(':'));
    return strMonthPart + strDayPart + strYear + strTime;
}

bool ParseListLine(const QString& strLine, const ListingYears& years, FtpListEntry& entry)
{
    // The fields up to the date, with where each ends: a name is whatever follows the date.
    constexpr int kMaxFields = 12;
    std::array<QStringView, kMaxFields> fields;
    std::array<qsizetype, kMaxFields> ends {};
    int nFields = 0;
    qsizetype nPos = 0;
    while (nFields < kMaxFields) {
        while (nPos < strLine.size() && strLine.at(nPos) == QLatin1Char(' ')) {
            ++nPos;
        }
        const qsizetype nStart = nPos;
        while (nPos < strLine.size() && strLine.at(nPos) != QLatin1Char(' ')) {
            ++nPos;
        }
        if (nPos == nStart) {
            break;
        }
        fields[static_cast<size_t>(nFields)] = QStringView(strLine).mid(nStart, nPos - nStart);
        ends[static_cast<size_t>(nFields)] = nPos;
        ++nFields;
    }
    if (nFields < 7 || !IsPermissionText(fields[0].toString()) || !IsDecimal(fields[1])) {
        return false;
    }
    // The size and the date are found after the owner (and group, which some servers leave out, and which may
    // hold a space): the first place where a size, a month, a day and a time or year follow one another.
    int nSizeAt = -1;
    for (int i = 3; i <= 6 && i + 3 < nFields; ++i) {
        const auto at
            = [&fields, i](int nOffset) { return fields[static_cast<size_t>(i) + static_cast<size_t>(nOffset)]; };
        if (IsDecimal(at(0)) && MonthIndex(at(1).toString()) >= 0 && IsDayOfMonth(at(2)) && IsTimeOrYear(at(3))
            && ends[static_cast<size_t>(i) + 3] + 1 < strLine.size()) {
            nSizeAt = i;
            break;
        }
    }
    if (nSizeAt < 0) {
        return false;
    }
    const auto field = [&fields](int nIndex) { return fields[static_cast<size_t>(nIndex)].toString(); };
    entry = FtpListEntry {};
    entry.permissions = field(0);
    entry.isDirectory = entry.permissions.startsWith(QLatin1Char('d'));
    entry.isLink = entry.permissions.startsWith(QLatin1Char('l'));
    entry.linkCount = field(1);
    entry.owner = field(2);
    QStringList group;
    for (int i = 3; i < nSizeAt; ++i) {
        group.append(field(i));
    }
    entry.group = group.join(QLatin1Char(' '));
    entry.sizeText = field(nSizeAt);
    entry.size = SizeFromListing(entry.sizeText);
    entry.nExactSize = ExactSizeFromText(entry.sizeText);
    entry.monthText = field(nSizeAt + 1);
    entry.dayText = field(nSizeAt + 2);
    entry.timeOrYearText = field(nSizeAt + 3);
    entry.name = strLine.mid(ends[static_cast<size_t>(nSizeAt) + 3] + 1);
    if (entry.isLink) {
        const qsizetype nArrow = entry.name.indexOf(QLatin1String(" ->"));
        if (nArrow >= 0) {
            entry.strLinkTarget = entry.name.mid(nArrow + 3).trimmed();
            entry.name.truncate(nArrow);
        }
    }
    if (entry.name.isEmpty()) {
        return false;
    }
    entry.modifiedTime = DateFromListing(entry.monthText, entry.dayText, entry.timeOrYearText, years);
    entry.dateKey = DateKeyFromListing(entry.monthText, entry.dayText, entry.timeOrYearText, years);
    return true;
}

bool ParseMsDosLine(const QString& strLine, FtpListEntry& entry)
{
    // "01-05-20  12:00PM       <DIR>          sub", "04-27-2000  21:09   1,234 a name.txt": the layout of the
    // FTP server built into Windows, with two- or four-digit years and 12- or 24-hour times.
    static const QRegularExpression kLine(
        QStringLiteral("^(\\d{2})-(\\d{2})-(\\d{2}|\\d{4}) +(\\d{1,2}):(\\d{2}) ?([AaPp][Mm])? "
                       "+(<DIR>|\\d{1,3}(?:,\\d{3})+|\\d+) +(\\S.*)$"));
    const QRegularExpressionMatch match = kLine.match(strLine);
    if (!match.hasMatch()) {
        return false;
    }
    const int nMonth = match.capturedView(1).toInt();
    const int nDay = match.capturedView(2).toInt();
    int nYear = match.capturedView(3).toInt();
    int nHour = match.capturedView(4).toInt();
    const int nMinute = match.capturedView(5).toInt();
    const QString strHalf = match.captured(6).toUpper();
    if (match.capturedView(3).size() == 2) {
        nYear += nYear < 70 ? 2000 : 1900;
    }
    if (!strHalf.isEmpty()) {
        if (nHour < 1 || nHour > 12) {
            return false;
        }
        nHour = nHour % 12 + (strHalf == QLatin1String("PM") ? 12 : 0);
    }
    if (nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31 || nHour > 23 || nMinute > 59) {
        return false;
    }
    entry = FtpListEntry {};
    entry.isDirectory = match.capturedView(7) == QLatin1String("<DIR>");
    if (!entry.isDirectory) {
        entry.sizeText = match.captured(7).remove(QLatin1Char(','));
        entry.size = SizeFromListing(entry.sizeText);
        entry.nExactSize = ExactSizeFromText(entry.sizeText);
    }
    entry.name = match.captured(8);
    entry.monthText = QLatin1String(kMonths[static_cast<size_t>(nMonth - 1)]);
    entry.dayText = QString::number(nDay);
    entry.timeOrYearText = FormatText("%02d:%02d", nHour, nMinute);
    // A time of day with its own date: the server's clock, read as it stands.
    std::tm when {};
    when.tm_year = nYear - 1900;
    when.tm_mon = nMonth - 1;
    when.tm_mday = nDay;
    when.tm_hour = nHour;
    when.tm_min = nMinute;
    when.tm_isdst = -1;
    const std::time_t nSeconds = std::mktime(&when);
    entry.modifiedTime = nSeconds == static_cast<std::time_t>(-1) ? 0 : static_cast<std::int64_t>(nSeconds);
    entry.dateKey = FormatText("%02d%02d%04d%02d%02d", nMonth, nDay, nYear, nHour, nMinute);
    return true;
}

ParsedListing ParseLines(
    const QString& strText, const std::function<void(const QString& strLine, ParsedListing& parsed)>& parseLine)
{
    ParsedListing parsed;
    qsizetype nStart = 0;
    while (nStart < strText.size()) {
        qsizetype nEnd = nStart;
        while (
            nEnd < strText.size() && strText.at(nEnd) != QLatin1Char('\r') && strText.at(nEnd) != QLatin1Char('\n')) {
            ++nEnd;
        }
        const qsizetype nLength = nEnd - nStart;
        if (nLength > kMaxListingLine) {
            parsed.rejectedLines.push_back(strText.mid(nStart, 80));
        } else if (nLength > 0) {
            parseLine(strText.mid(nStart, nLength), parsed);
        }
        nStart = nEnd + 1;
    }
    return parsed;
}

ParsedListing ParseListing(const QString& strText, const ListingYears& years)
{
    return ParseLines(strText, [&years](const QString& strLine, ParsedListing& parsed) {
        FtpListEntry entry;
        if (!ParseListLine(strLine, years, entry) && !ParseMsDosLine(strLine, entry)) {
            if (!IsTotalLine(strLine) && !strLine.trimmed().isEmpty()) {
                parsed.unparsedLines.push_back(strLine.left(200));
            }
        } else if (entry.name != QLatin1String(".") && entry.name != QLatin1String("..")) {
            parsed.entries.push_back(std::move(entry));
        }
    });
}

bool IsSafeEntryName(const QString& strName)
{
    if (strName.isEmpty() || strName == QLatin1String(".") || strName == QLatin1String("..")) {
        return false;
    }
    for (const QChar ch : strName) {
        if (ch == QLatin1Char('/') || ch == QLatin1Char('\\') || ch.unicode() < 0x20 || ch.unicode() == 0x7F) {
            return false;
        }
    }
    return NameToBytes(strName).size() <= kMaxNameBytes;
}
