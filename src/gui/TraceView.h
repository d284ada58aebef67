#pragma once

#include <mutex>
#include <vector>

#include <QListWidget>

#include "ftp/TraceBuffer.h"

// The FTP trace pane: one coloured line per trace line, newest at the bottom and selected. Lines come from
// any thread; they are gathered and shown in one go on the window's thread, so a burst of commands costs
// one repaint.
class CTraceView : public QListWidget, public ITraceObserver
{
    Q_OBJECT

public:
    explicit CTraceView(QWidget* pParent = nullptr);
    ~CTraceView() override;

    // Shows what the buffer holds now and follows it from then on; null stops following.
    void Attach(CTraceBuffer* pBuffer);
    void OnTraceLine(const TraceLine& line, bool bEmptiedFirst) override;

    // The selected lines (or all when none is selected), one per line, for the clipboard.
    [[nodiscard]] QString SelectedText() const;
    void CopySelection() const;

public slots:
    // Shows the lines gathered since the last call.
    void Flush();

protected:
    void contextMenuEvent(QContextMenuEvent* pEvent) override;

private:
    void Append(const TraceLine& line);

    CTraceBuffer* m_pBuffer = nullptr;
    std::mutex m_mutex;
    std::vector<TraceLine> m_pending;
    bool m_bClearFirst = false;
    bool m_bFlushPosted = false;
};
