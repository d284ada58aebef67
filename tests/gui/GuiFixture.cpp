#include "gui/GuiFixture.h"

#include <QDir>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTreeView>

#include "common/FtpTestServer.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"

void GuiFixture::SetUp()
{
    m_strLeft = MakeTestFolder(QStringLiteral("gui-left"));
    m_strRight = MakeTestFolder(QStringLiteral("gui-right"));
    const auto both = [this](const QString& strPath, const QByteArray& left, const QByteArray& right) {
        WriteFileBytes(m_strLeft + QLatin1Char('/') + strPath, left);
        WriteFileBytes(m_strRight + QLatin1Char('/') + strPath, right);
    };
    both(QStringLiteral("docs/a.txt"), "same", "same");
    both(QStringLiteral("docs/b.txt"), "left side", "right side");
    WriteFileBytes(m_strLeft + QStringLiteral("/docs/deep/c.txt"), "only here");
    both(QStringLiteral("img/logo.png"), "png", "png");
    WriteFileBytes(m_strRight + QStringLiteral("/old/x.txt"), "gone");
    both(QStringLiteral("readme.txt"), "read me", "read me");
    both(QStringLiteral("zeta.txt"), "one", "two");
    m_pFrame = std::make_unique<CMainFrame>();
    m_pFrame->resize(1200, 800);
    m_pFrame->show();
}

void GuiFixture::TearDown()
{
    m_pFrame.reset();
}

OpenRequest GuiFixture::RequestFor(const CFtpTestServer& server, const QString& strLocal)
{
    OpenRequest request { strLocal, server.Url(QStringLiteral("/www")), {}, 64 };
    request.site.strUser = QString::fromLatin1(CFtpTestServer::kUser);
    request.site.strPassword = QString::fromLatin1(CFtpTestServer::kPassword);
    request.site.nRetries = 1;
    return request;
}

bool GuiFixture::OpenAndWait(const OpenRequest& request)
{
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    m_pFrame->OpenComparison(request);
    if (!shown.wait(20000)) {
        return false;
    }
    return shown.first().first().toBool();
}

QModelIndex GuiFixture::Find(const QString& strName) const
{
    const CComparisonFilter& filter = m_pFrame->Filter();
    QModelIndexList pending { QModelIndex() };
    while (!pending.isEmpty()) {
        const QModelIndex folder = pending.takeFirst();
        for (int nRow = 0; nRow < filter.rowCount(folder); ++nRow) {
            const QModelIndex child = filter.index(nRow, 0, folder);
            if (child.data(RoleKey).toString().endsWith(QLatin1Char('/') + strName)) {
                return child;
            }
            pending.append(child);
        }
    }
    return {};
}

QString GuiFixture::CurrentName() const
{
    const QModelIndex current = m_pFrame->Panes().Selection()->currentIndex();
    const QString strKey = current.data(RoleKey).toString();
    for (const QString& strRoot : { m_strLeft, m_strRight }) {
        if (strKey.startsWith(strRoot + QLatin1Char('/'))) {
            return strKey.mid(strRoot.size() + 1);
        }
    }
    return strKey;
}

int GuiFixture::VisibleRows(QTreeView* pView)
{
    int nRows = 0;
    for (QModelIndex index = pView->indexAt(QPoint(1, 1)); index.isValid(); index = pView->indexBelow(index)) {
        ++nRows;
    }
    return nRows;
}

bool GuiFixture::PanesAligned() const
{
    QTreeView* pLeft = m_pFrame->Panes().Pane(SIDE_LEFT);
    QTreeView* pRight = m_pFrame->Panes().Pane(SIDE_RIGHT);
    if (pLeft->verticalScrollBar()->value() != pRight->verticalScrollBar()->value()) {
        return false;
    }
    QModelIndex right = pRight->indexAt(QPoint(1, 1));
    for (QModelIndex left = pLeft->indexAt(QPoint(1, 1)); left.isValid(); left = pLeft->indexBelow(left)) {
        if (!right.isValid() || left.siblingAtColumn(0) != right.siblingAtColumn(0)
            || pLeft->visualRect(left).top() != pRight->visualRect(right).top()) {
            return false;
        }
        right = pRight->indexBelow(right);
    }
    return !right.isValid();
}
