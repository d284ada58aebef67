#include "ftp/MlsdListing.h"

#include <algorithm>
#include <ctime>

#include <QList>

#include "support/TextFormat.h"

namespace {

bool AllDigits(QStringView text)
{
    for (const QChar ch : text) {
        if (ch < QLatin1Char('0') || ch > QLatin1Char('9')) {
            return false;
        }
    }
    return !text.isEmpty();
}

// Whether what follows the first "; " could itself be facts: then a fact's value held "; " (a link target can) and
// where the name begins cannot be told, so the line is not read rather than read with a wrong name.
bool LooksLikeFacts(QStringView rest)
{
    const qsizetype nEnd = rest.indexOf(QLatin1String("; "));
    if (nEnd < 0) {
        return false;
    }
    for (const QStringView part : rest.left(nEnd).split(QLatin1Char(';'))) {
        const qsizetype nEquals = part.indexOf(QLatin1Char('='));
        if (nEquals > 0 && std::all_of(part.begin(), part.begin() + nEquals, [](QChar ch) {
                return ch.isLetterOrNumber() || ch == QLatin1Char('.') || ch == QLatin1Char('-')
                    || ch == QLatin1Char('_');
            })) {
            return true;
        }
    }
    return false;
}

} // namespace

std::optional<std::int64_t> TimeFromMachineText(QStringView text)
{
    // "YYYYMMDDHHMMSS", optionally ".s" to ".sss...": the fraction is dropped, as file times here are seconds.
    const qsizetype nDot = text.indexOf(QLatin1Char('.'));
    const QStringView whole = nDot < 0 ? text : text.left(nDot);
    if (whole.size() != 14 || !AllDigits(whole) || (nDot >= 0 && !AllDigits(text.mid(nDot + 1)))) {
        return std::nullopt;
    }
    std::tm when {};
    when.tm_year = whole.left(4).toInt() - 1900;
    when.tm_mon = whole.mid(4, 2).toInt() - 1;
    when.tm_mday = whole.mid(6, 2).toInt();
    when.tm_hour = whole.mid(8, 2).toInt();
    when.tm_min = whole.mid(10, 2).toInt();
    when.tm_sec = whole.mid(12, 2).toInt();
    const int nMonth = when.tm_mon;
    const int nDay = when.tm_mday;
    if (when.tm_year < 0 || nMonth < 0 || nMonth > 11 || nDay < 1 || nDay > 31 || when.tm_hour > 23 || when.tm_min > 59
        || when.tm_sec > 60) {
        return std::nullopt;
    }
    const std::time_t nSeconds = timegm(&when);
    // timegm moves 31 February on to March: a date that moved was not a date.
    if (nSeconds == static_cast<std::time_t>(-1) || when.tm_mon != nMonth || when.tm_mday != nDay) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(nSeconds);
}

QString ExactDateKey(std::int64_t nSeconds)
{
    const std::time_t when = static_cast<std::time_t>(nSeconds);
    std::tm local {};
    if (localtime_r(&when, &local) == nullptr) {
        return {};
    }
    return FormatText("%02d%02d%04d%02d%02d%02d", local.tm_mon + 1, local.tm_mday, local.tm_year + 1900, local.tm_hour,
        local.tm_min, local.tm_sec);
}

MlsdLine ParseMlsdLine(const QString& strLine, FtpListEntry& entry)
{
    // The facts end at the first "; "; everything after it is the name, spaces and all. A link's target (Pure-FTPd's
    // "OS.unix=slink:target") may hold spaces, so the end is not simply the first space.
    const qsizetype nEnd = strLine.indexOf(QLatin1String("; "));
    if (nEnd <= 0 || nEnd + 2 >= strLine.size() || LooksLikeFacts(QStringView(strLine).mid(nEnd + 2))) {
        return MlsdLine::Unreadable;
    }
    entry = FtpListEntry {};
    entry.name = strLine.mid(nEnd + 2);
    QString strType;
    bool bHaveSize = false;
    for (const QStringView fact : QStringView(strLine).left(nEnd).split(QLatin1Char(';'))) {
        const qsizetype nEquals = fact.indexOf(QLatin1Char('='));
        if (nEquals <= 0) {
            return MlsdLine::Unreadable;
        }
        const QStringView name = fact.left(nEquals);
        const QStringView value = fact.mid(nEquals + 1);
        if (name.compare(QLatin1String("type"), Qt::CaseInsensitive) == 0) {
            strType = value.toString();
        } else if (name.compare(QLatin1String("size"), Qt::CaseInsensitive) == 0) {
            entry.nExactSize = ExactSizeFromText(value);
            if (entry.nExactSize < 0) {
                return MlsdLine::Unreadable;
            }
            bHaveSize = true;
        } else if (name.compare(QLatin1String("modify"), Qt::CaseInsensitive) == 0) {
            const std::optional<std::int64_t> nTime = TimeFromMachineText(value);
            if (!nTime) {
                return MlsdLine::Unreadable;
            }
            entry.modifiedTime = *nTime;
            entry.bExactTime = true;
        } else if (name.compare(QLatin1String("unique"), Qt::CaseInsensitive) == 0) {
            entry.strUnique = value.toString();
        } else if (name.compare(QLatin1String("perm"), Qt::CaseInsensitive) == 0) {
            entry.permissions = value.toString();
        }
    }
    const QString strKind = strType.toLower();
    if (strKind == QLatin1String("cdir") || strKind == QLatin1String("pdir")) {
        return MlsdLine::Skipped;
    }
    if (strKind == QLatin1String("dir")) {
        entry.isDirectory = true;
    } else if (strKind == QLatin1String("os.unix=symlink") || strKind.startsWith(QLatin1String("os.unix=slink"))) {
        entry.isLink = true;
        const qsizetype nColon = strType.indexOf(QLatin1Char(':'));
        entry.strLinkTarget = nColon < 0 ? QString() : strType.mid(nColon + 1);
    } else if (strKind == QLatin1String("file")) {
        if (!bHaveSize) {
            return MlsdLine::Unreadable;
        }
    } else if (strKind.startsWith(QLatin1String("os."))) {
        return MlsdLine::Skipped;
    } else {
        return MlsdLine::Unreadable;
    }
    if (entry.name == QLatin1String(".") || entry.name == QLatin1String("..")) {
        return MlsdLine::Skipped;
    }
    entry.sizeText = bHaveSize ? QString::number(entry.nExactSize) : QString();
    entry.size = bHaveSize ? entry.nExactSize : 0;
    entry.dateKey = entry.bExactTime ? ExactDateKey(entry.modifiedTime) : QString();
    return MlsdLine::Entry;
}

ParsedListing ParseMlsdListing(const QString& strText)
{
    return ParseLines(strText, [](const QString& strLine, ParsedListing& parsed) {
        FtpListEntry entry;
        switch (ParseMlsdLine(strLine, entry)) {
        case MlsdLine::Entry:
            parsed.entries.push_back(std::move(entry));
            break;
        case MlsdLine::Skipped:
            break;
        case MlsdLine::Unreadable:
            parsed.unparsedLines.push_back(strLine.left(200));
            break;
        }
    });
}
