#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include <QString>

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

// Markers in a mirror folder whose listing was not a whole account of the remote folder. A listing that
// gave no entry may be a failed listing as well as an empty folder, and lines that could not be read may
// stand for anything: nothing on the other side is ever deleted on the strength of such a folder.
inline constexpr char kEmptyListingMarker[] = "$quorvelemptylisting";
inline constexpr char kPartialListingMarker[] = "$quorvelpartiallisting";

// The marker in a mirror folder whose listing failed: nothing in it is known.
inline constexpr char kFailedListingMarker[] = "$quorvellistingfailed";

// The marker in a mirror folder listed with MLSD: the times of its files are exact. Without it, a listed folder
// was listed with LIST.
inline constexpr char kMlsdListingMarker[] = "$quorvelmlsdlisting";

// The marker inside a mirror folder that stands for a link on the server to a folder: the link is shown,
// never followed, and removed only as a link.
inline constexpr char kLinkMarker[] = "$quorvelquorvellink";

// Names of the program's own working files, never shown in the tree: markers and "$quorvel..." working
// files, "$diffundo" backups, and the ".quorvel-upload-..." names uploads go to before they are in place.
bool IsWorkingName(const QString& strName);
