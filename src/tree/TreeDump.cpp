#include "tree/TreeDump.h"

#include <array>

#include "support/DiagnosticLog.h"
#include "tree/FileItem.h"

QString StatusText(const CFileItem& item)
{
    if (item.kind == KIND_FILE) {
        static const std::array<const char*, 5> kFileTexts { " Same", " Diff", " Left", " Right", " UNKNOWN" };
        if (item.status >= 0 && item.status < static_cast<int>(kFileTexts.size())) {
            return QString::fromLatin1(kFileTexts[static_cast<unsigned char>(item.status)]);
        }
        return QStringLiteral(" UnDef");
    }
    static const std::array<const char*, 3> kDirTexts { " Left", " Right", " Both" };
    if (item.status >= 0 && item.status < static_cast<int>(kDirTexts.size())) {
        return QString::fromLatin1(kDirTexts[static_cast<unsigned char>(item.status)]);
    }
    return QStringLiteral(" UnDef");
}

QString IconName(int nIcon)
{
    static const std::array<const char*, 9> kNames { "ICON_CLOSE", "ICON_OPEN", "ICON_SAME", "ICON_DIFF", "ICON_1ST",
        "ICON_2ND", "ICON_BLANK_DIR", "ICON_BLANK_FILE", "ICON_UNKNOWN_FILE" };
    if (nIcon >= 0 && nIcon < static_cast<int>(kNames.size())) {
        return QString::fromLatin1(kNames[static_cast<size_t>(nIcon)]);
    }
    return QStringLiteral("ICON_UnDef");
}

void DumpTree(const CFileItem* pRoot)
{
    if (pRoot == nullptr || !IsLogEnabled()) {
        return;
    }
    int nCounter = 0;
    int nDepth = 0;
    const CFileItem* pItem = pRoot->pFirstChild;
    while (pItem != nullptr) {
        const QString strTabs(nDepth, QLatin1Char('\t'));
        QString strText = StatusText(*pItem) + QStringLiteral(" Left=") + IconName(pItem->icon[0])
            + QStringLiteral(" Right=") + IconName(pItem->icon[1]);
        if (pItem->kind == KIND_DIR) {
            strText += pItem->bExpanded[0] ? QStringLiteral(" Left-Expand") : QStringLiteral(" Left-Collapse");
            strText += pItem->bExpanded[1] ? QStringLiteral(" Right-Expand") : QStringLiteral(" Right-Collapse");
        }
        LogFull("%s[%d]=%s[%s], indent/index=[%d/%d] %s\n%s\tPath[0]=[%s]\n%s\tPath[1]=[%s]", strTabs, nCounter++,
            pItem->kind == KIND_FILE ? "FILE" : "DIR", pItem->strName, pItem->indent, pItem->index, strText, strTabs,
            pItem->strPaths[0], strTabs, pItem->strPaths[1]);
        pItem = NextInPreOrder(pItem, pRoot, &nDepth);
    }
}
