#include <QMenu>
#include <QSignalSpy>
#include <QTest>

#include "common/TestFiles.h"
#include "gui/TraceView.h"
#include "gui/TransferListModel.h"
#include "gui/TransferListWidget.h"
#include "support/SettingsStore.h"

namespace {

TransferJob Job(const QString& strName)
{
    TransferJob job;
    job.strName = strName;
    job.strLocalPath = QStringLiteral("/l/") + strName;
    job.strRemoteFolder = QStringLiteral("/r");
    return job;
}

TEST(TracePane, LinesKeepTheirPrefixesAndColoursAndThe257thStartsAfresh)
{
    CTraceBuffer buffer;
    CTraceView view;
    view.Attach(&buffer);
    buffer.AddTraceText(TRACE_COMMAND, QStringLiteral("CWD /www"));
    buffer.AddTraceText(TRACE_STATUS, QStringLiteral("FTP connection failure."));
    buffer.AddTraceText(TRACE_ERROR, QStringLiteral("Failed to connect"));
    buffer.AddTraceText(7, QStringLiteral("plain\r\nand more\r\n"));
    view.Flush();
    ASSERT_EQ(view.count(), 4);
    EXPECT_TRUE(view.item(0)->text().startsWith(QStringLiteral("command> [")));
    EXPECT_TRUE(view.item(1)->text().startsWith(QStringLiteral("status>       [")));
    EXPECT_TRUE(view.item(2)->text().startsWith(QStringLiteral("error>         [")));
    EXPECT_TRUE(view.item(3)->text().startsWith(QString(18, QLatin1Char(' ')) + QLatin1Char('[')));
    EXPECT_TRUE(view.item(3)->text().endsWith(QStringLiteral("plainand more")));
    EXPECT_EQ(view.item(0)->foreground().color(), QColor(0, 0, 255));
    EXPECT_EQ(view.item(2)->foreground().color(), QColor(255, 0, 0));
    EXPECT_EQ(view.item(3)->foreground().color(), QColor(0, 0, 0));
    EXPECT_EQ(view.currentRow(), 3) << "the newest line is selected";

    for (int i = 4; i < 256; ++i) {
        buffer.AddTraceText(TRACE_PLAIN, QString::number(i));
    }
    view.Flush();
    EXPECT_EQ(view.count(), 256) << "the 256th line is appended as any other";
    buffer.AddTraceText(TRACE_PLAIN, QStringLiteral("257th"));
    view.Flush();
    ASSERT_EQ(view.count(), 1) << "the 257th line empties the pane first";
    EXPECT_TRUE(view.item(0)->text().endsWith(QStringLiteral("257th")));
}

TEST(TracePane, LinesFromWorkersArriveOnTheWindowsThreadInOneGo)
{
    CTraceBuffer buffer;
    CTraceView view;
    view.Attach(&buffer);
    std::thread worker([&buffer] {
        for (int i = 0; i < 50; ++i) {
            buffer.AddTraceText(TRACE_COMMAND, QStringLiteral("NOOP"));
        }
    });
    worker.join();
    EXPECT_EQ(view.count(), 0) << "nothing may touch the widget from the worker";
    QTRY_COMPARE_WITH_TIMEOUT(view.count(), 50, 2000);
    view.clearSelection();
    view.item(0)->setSelected(true);
    view.item(1)->setSelected(true);
    EXPECT_EQ(view.SelectedText().count(QLatin1Char('\n')), 1);
}

// The menu's enabling rules over mixed selections, as the user meets them.
TEST(TransferListWidget, TheMenuFollowsTheRulesOnMixedSelections)
{
    CTransferListView list;
    CTransferListWidget widget(list);
    widget.SetResubmitter([](int) {});
    const int nRunning = list.AddJob(Job(QStringLiteral("a.txt")), JobPurpose::Transfer, 1000);
    list.SetRunning(nRunning);
    const int nFailed = list.AddJob(Job(QStringLiteral("a.txt")), JobPurpose::Transfer, 1000);
    list.FinishJob(nFailed, JobState::Failed, QStringLiteral("Failed to upload file. 553"), true);
    widget.Model().Refresh();
    widget.show();

    const auto menuFor = [&widget](std::initializer_list<int> rows) {
        widget.clearSelection();
        for (const int nRow : rows) {
            widget.selectionModel()->select(
                widget.model()->index(nRow, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        return std::unique_ptr<QMenu>(widget.MakeContextMenu());
    };
    const auto enabled = [](QMenu* pMenu) {
        QStringList texts;
        for (QAction* pAction : pMenu->actions()) {
            if (pAction->isEnabled()) {
                texts.append(pAction->text());
            }
        }
        return texts;
    };
    EXPECT_EQ(menuFor({}), nullptr) << "no menu without a selection";
    const auto mixed = menuFor({ 0, 1 });
    EXPECT_EQ(enabled(mixed.get()), QStringList { QStringLiteral("&Cancel") });
    const auto failed = menuFor({ 1 });
    EXPECT_EQ(enabled(failed.get()), (QStringList { QStringLiteral("&Delete"), QStringLiteral("&Resubmit") }));

    // The bar lies over the running row's Status cell only.
    EXPECT_TRUE(widget.model()->index(0, COL_STATUS).data(CTransferListModel::RoleBarPosition).isValid());
    EXPECT_FALSE(widget.model()->index(1, COL_STATUS).data(CTransferListModel::RoleBarPosition).isValid());
    EXPECT_EQ(widget.model()->headerData(COL_FTP_PATH, Qt::Horizontal).toString(), QStringLiteral("FTP Path"));
    list.CancelSelected({ 0 });
}

TEST(TransferListWidget, RunningJobsShowBytesAndDeletedRowsLeaveTheModel)
{
    CTransferListView list;
    CTransferListWidget widget(list);
    TransferJob download = Job(QStringLiteral("big.bin"));
    download.operation = TransferOperation::Download;
    const int nJob = list.AddJob(download, JobPurpose::Transfer, 10 * 1024 * 1024);
    list.SetRunning(nJob);
    list.AdvanceProgress(nJob, 5 * 1024 * 1024);
    widget.Model().Refresh();
    const QString strMessage = widget.model()->index(0, COL_MESSAGE).data().toString();
    EXPECT_TRUE(strMessage.startsWith(QStringLiteral("In Progress. 5.0 MiB of 10 MiB"))) << strMessage.toStdString();
    EXPECT_EQ(widget.model()->index(0, COL_STATUS).data(CTransferListModel::RoleBarPosition).toInt(), 50);
    list.FinishJob(nJob, JobState::Completed, {}, true);
    widget.Model().Refresh();
    EXPECT_EQ(widget.model()->rowCount(), 0) << "a completed row goes when DeleteRowOfGoodXfer says so";
}

TEST(TransferListWidget, ColumnWidthsComeFromTheSettingOrTheWindow)
{
    CSettingsStore store = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("xfer-widths")));
    EXPECT_EQ(CTransferListWidget::ColumnWidths(store, 600),
        (std::array<int, kTransferColumns> { 100, 100, 200, 140, 80, 100 }));
    store.WriteString("Settings", "XferWidths", QStringLiteral("1,2,3,4,5"));
    EXPECT_EQ(CTransferListWidget::ColumnWidths(store, 600)[2], 200) << "five numbers are not a width set";
    CTransferListView list;
    CTransferListWidget widget(list);
    for (int nColumn = 0; nColumn < kTransferColumns; ++nColumn) {
        widget.setColumnWidth(nColumn, 40 + nColumn);
    }
    widget.SaveColumnWidths(store);
    EXPECT_EQ(store.ReadString("Settings", "XferWidths"), QStringLiteral("40,41,42,43,44,45"));
}

} // namespace
