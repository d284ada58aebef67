#include "tree/FileTexts.h"

#include "support/TextFormat.h"

namespace {

const QString kMarkerPrefix = QStringLiteral("$quorvel");

bool AllDigits(const QString& text)
{
    if (text.isEmpty()) {
        return false;
    }
    for (const QChar ch : text) {
        if (ch < QLatin1Char('0') || ch > QLatin1Char('9')) {
            return false;
        }
    }
    return true;
}

} // namespace

QString MakeTimeText(std::time_t when, TimeTextForm form)
{
    std::tm local {};
#if defined(_WIN32)
    if (localtime_s(&local, &when) != 0) {
        return {};
    }
#else
    if (localtime_r(&when, &local) == nullptr) {
        return {};
    }
#endif
    const int nYear = local.tm_year + 1900;
    const int nMonth = local.tm_mon + 1;
    switch (form) {
    case TimeTextForm::MonthFirst:
        return FormatText("%02d/%02d/%04d %02d:%02d", nMonth, local.tm_mday, nYear, local.tm_hour, local.tm_min);
    case TimeTextForm::MonthFirstWithSeconds:
        return FormatText(
            "%02d/%02d/%04d %02d:%02d:%02d", nMonth, local.tm_mday, nYear, local.tm_hour, local.tm_min, local.tm_sec);
    case TimeTextForm::YearFirst:
        return FormatText("%04d/%02d/%02d %02d:%02d", nYear, nMonth, local.tm_mday, local.tm_hour, local.tm_min);
    case TimeTextForm::YearFirstWithSeconds:
        return FormatText(
            "%04d/%02d/%02d %02d:%02d:%02d", nYear, nMonth, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    }
    return {};
}

QString MakeSizeText(std::uint64_t nSize)
{
    QString digits = QString::number(nSize);
    for (qsizetype nPos = digits.size() - 3; nPos > 0; nPos -= 3) {
        digits.insert(nPos, QLatin1Char(','));
    }
    return digits;
}

QString MakeMarkerName(const QString& strFileName, const QString& strSizeText, const QString& strDateKey)
{
    return kMarkerPrefix + strFileName + QLatin1Char(';') + strSizeText + QLatin1Char(';') + strDateKey;
}

std::optional<MarkerInfo> ParseMarkerName(const QString& strMarkerName)
{
    if (!strMarkerName.startsWith(kMarkerPrefix)) {
        return std::nullopt;
    }
    const qsizetype nKeyCut = strMarkerName.lastIndexOf(QLatin1Char(';'));
    if (nKeyCut < kMarkerPrefix.size()) {
        return std::nullopt;
    }
    const qsizetype nSizeCut = strMarkerName.lastIndexOf(QLatin1Char(';'), nKeyCut - 1);
    if (nSizeCut < kMarkerPrefix.size() + 1) {
        return std::nullopt;
    }
    MarkerInfo info;
    info.strFileName = strMarkerName.mid(kMarkerPrefix.size(), nSizeCut - kMarkerPrefix.size());
    info.strSizeText = strMarkerName.mid(nSizeCut + 1, nKeyCut - nSizeCut - 1);
    info.strDateKey = strMarkerName.mid(nKeyCut + 1);
    return info;
}

QString MarkerSizeText(const MarkerInfo& marker)
{
    bool bOk = false;
    const qulonglong nSize = marker.strSizeText.toULongLong(&bOk);
    if (!bOk || !AllDigits(marker.strSizeText)) {
        return marker.strSizeText;
    }
    return MakeSizeText(nSize);
}

QString MarkerTimeText(const MarkerInfo& marker)
{
    const QString& key = marker.strDateKey;
    // Twelve digits to the minute, or fourteen where the server gave the second too: shown to the minute.
    if ((key.size() != 12 && key.size() != 14) || !AllDigits(key)) {
        return key;
    }
    return key.mid(0, 2) + QLatin1Char('/') + key.mid(2, 2) + QLatin1Char('/') + key.mid(4, 4) + QLatin1Char(' ')
        + key.mid(8, 2) + QLatin1Char(':') + key.mid(10, 2);
}

std::int64_t BytesOfSizeText(const QString& strSize)
{
    std::int64_t nBytes = 0;
    bool bDigits = false;
    for (const QChar c : strSize) {
        if (c == QLatin1Char(',')) {
            continue;
        }
        if (!c.isDigit() || nBytes > (INT64_MAX - 9) / 10) {
            return -1;
        }
        nBytes = nBytes * 10 + c.digitValue();
        bDigits = true;
    }
    return bDigits ? nBytes : -1;
}
