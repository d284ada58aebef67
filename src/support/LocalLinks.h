#pragma once

#include <QString>
#include <QStringList>

// The first part of strPath, below whichever of roots holds it, that is a symbolic link; empty when there
// is none (parts that do not exist yet are no links). Writes never go through a link: what a link leads to
// lies outside what the user compared.
QString LinkOnTheWay(const QStringList& roots, const QString& strPath);

// The sentence that refuses a write through the link strLink.
QString RefusedThroughLink(const QString& strTarget, const QString& strLink);
