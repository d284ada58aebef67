#pragma once

#include <functional>

#include <QObject>
#include <QString>

#include "app/RemoteEditSession.h"

class CComparisonDocument;
class CComparisonModel;
class CComparisonPanes;
class QMainWindow;

// The window's commands that open the current file: open, edit, view both sides, show in the file manager.
// An FTP file is opened from the mirror, downloaded into it first where it holds only a placeholder; an edited
// FTP file is a copy of its own that is offered to the server each time it is saved.
class CFileOpening : public QObject
{
public:
    CFileOpening(QMainWindow* pWindow, CComparisonDocument& document, CComparisonModel& model, CComparisonPanes& panes);

    void OpenCurrent();
    void EditCurrent();
    void ViewBothSides();
    void ShowInFileManager();

private:
    // Calls use with the path of a local copy of the node's file on nSide, at once or once downloaded.
    void WithLocalCopy(int nNode, int nSide, const std::function<void(const QString&)>& use);
    void OpenWithEditor(const QString& strPath);
    void EditRemote(const QString& strCached, const QString& strRemotePath);

    QMainWindow* m_pWindow;
    CComparisonDocument& m_document;
    CComparisonModel& m_model;
    CComparisonPanes& m_panes;
    CRemoteEditSession m_edits;
};
