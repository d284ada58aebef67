#pragma once

#include <memory>

#include <QModelIndex>
#include <QString>

#include "common/TestFiles.h"
#include "gui/MainFrame.h"

class CFtpTestServer;
class QTreeView;

// A main window opened on a small comparison of two local folders:
//   docs/        both sides; docs/a.txt same, docs/b.txt differs, docs/deep/c.txt local only
//   img/         both sides; img/logo.png same
//   old/         FTP side only, with old/x.txt
//   readme.txt   same; zeta.txt differs
class GuiFixture : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // strLocal against the server's "/www", logged on as the test user.
    static OpenRequest RequestFor(const CFtpTestServer& server, const QString& strLocal);
    // Opens strLeft against strRight and waits until the panes show it.
    bool OpenAndWait(const OpenRequest& request);

    // The index of the item with this full name under the filter, whatever is expanded; invalid if hidden.
    [[nodiscard]] QModelIndex Find(const QString& strName) const;
    [[nodiscard]] QString CurrentName() const;
    // The number of rows the pane shows now (expanded folders' children included).
    [[nodiscard]] static int VisibleRows(QTreeView* pView);
    // Whether every row the left pane shows faces the same item at the same height in the right pane.
    [[nodiscard]] bool PanesAligned() const;

    std::unique_ptr<CMainFrame> m_pFrame;
    QString m_strLeft;
    QString m_strRight;
};
