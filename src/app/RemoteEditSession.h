#pragma once

#include <functional>
#include <map>
#include <set>

#include <QFileSystemWatcher>
#include <QString>
#include <QTimer>

class CComparisonDocument;

// FTP files being edited: each is a copy of the mirror's file in a folder of its own (the mirror follows the
// server and may replace its copy at the next listing), watched while the program runs. Each time a copy is
// saved the user is asked whether it goes back to the server, where it replaces the file it came from, as
// an upload job of the comparison it came from.
class CRemoteEditSession
{
public:
    // ask: whether the saved copy goes to the server as the FTP path; tell: a sentence for the user.
    using Ask = std::function<bool(const QString& strCopy, const QString& strRemotePath)>;
    using Tell = std::function<void(const QString&)>;

    CRemoteEditSession(CComparisonDocument& document, Ask ask, Tell tell);
    CRemoteEditSession(const CRemoteEditSession&) = delete;
    CRemoteEditSession& operator=(const CRemoteEditSession&) = delete;

    // Copies the mirror's file into a new folder below strBase and watches the copy; the copy's path, or
    // empty with strError.
    QString StartEdit(
        const QString& strBase, const QString& strCached, const QString& strRemotePath, QString& strError);

private:
    void OfferUploads();

    struct EditedCopy
    {
        QString strRemotePath;
        QString strComparison; // the FTP side of the comparison it came from
    };

    CComparisonDocument& m_document;
    Ask m_ask;
    Tell m_tell;
    QFileSystemWatcher m_watcher;
    // An editor may write a file in several steps, or write a new one and rename it over the old: a save is
    // taken once the copy has been still for a moment.
    QTimer m_settle;
    std::map<QString, EditedCopy> m_edits;
    std::set<QString> m_changed;
    bool m_bAsking = false;
};
