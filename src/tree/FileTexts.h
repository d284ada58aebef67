#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include <QString>

#include "tree/WorkingNames.h"

// The forms a time text can take. The scan writes MonthFirst; the others serve reports.
enum class TimeTextForm
{
    MonthFirst, // "03/15/2026 14:30"
    MonthFirstWithSeconds, // "03/15/2026 14:30:07"
    YearFirst, // "2026/03/15 14:30"
    YearFirstWithSeconds // "2026/03/15 14:30:07"
};

// A modification time as local time in the given form.
QString MakeTimeText(std::time_t when, TimeTextForm form = TimeTextForm::MonthFirst);

// A size with "," between every group of three digits: 1234567 gives "1,234,567".
QString MakeSizeText(std::uint64_t nSize);
// The bytes a size text stands for ("1,234,567"); -1 when it is no size ("?", "-5", one too large).
std::int64_t BytesOfSizeText(const QString& strSize);

// What a mirror marker says of the remote file that an empty placeholder stands for.
struct MarkerInfo
{
    QString strFileName;
    QString strSizeText; // as the listing gave it
    QString strDateKey; // MMDDYYYYHHMM, or MMDDYYYYHHMMSS where the server gave the second
};

// The marker beside a placeholder: "$quorvel" + file name + ";" + size text + ";" + date key.
QString MakeMarkerName(const QString& strFileName, const QString& strSizeText, const QString& strDateKey);
// Reads a marker's name back; the file name may itself hold ";", so the fields are cut from the right.
std::optional<MarkerInfo> ParseMarkerName(const QString& strMarkerName);

// The size and time texts of a placeholder, in exactly the forms the scan gives real files, so that the
// textual comparison sees no difference of form. A size or date that cannot be read is shown as it stands.
QString MarkerSizeText(const MarkerInfo& marker);
QString MarkerTimeText(const MarkerInfo& marker);

// The version text of a file that exists only as a placeholder.
inline const QString kUnknownVersion = QStringLiteral("UNKNOWN");
