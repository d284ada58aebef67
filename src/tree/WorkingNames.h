#pragma once

#include <QString>

// Every name this program gives its own files, in the mirror, in the user's folders and on the server, and
// the one rule that tells them from the user's: the scan hides them, a listing leaves them out, and no
// rename or new folder may take one.

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

// The marker that says a mirror folder is current and need not be listed again.
inline constexpr char kFolderCurrentMarker[] = "$quorvelquorvelupdated";

// The two empty files in a mirror folder that was seen in a listing but not listed itself; the first one
// says so to the scan.
inline constexpr char kUnlistedMarker[] = "$quorveldummy01";
inline constexpr char kUnlistedMarkerTwo[] = "$quorveldummy02";
inline constexpr char kUnlistedPrefix[] = "$quorveldummy";

// The working file a download into the mirror is written to before it replaces the placeholder.
inline constexpr char kMirrorWorkPrefix[] = "$quorveldownload-";
QString MirrorWorkingName(quint32 nRandom);

// The working file a download or copy into a local folder is written to, beside its target.
QString LocalWorkingName();

// The name an upload goes to on the server before it is renamed into place: unique, and with the file's own
// name after it (without trailing spaces and dots, which servers drop or replace) so that a user who finds
// one left behind knows what it was.
inline const QString kUploadWorkingPrefix = QStringLiteral(".quorvel-upload-");
QString UploadWorkingName(const QString& strName);

// Names of the program's own working files, never shown in the tree: markers and "$quorvel..." working
// files, "$diffundo" backups, and the ".quorvel-upload-..." names uploads go to before they are in place.
bool IsWorkingName(const QString& strName);
// The sentence that says which names are kept for working files.
QString WorkingNameRule();
