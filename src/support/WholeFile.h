#pragma once

#include <QByteArray>
#include <QString>

// Writes data as the whole of strPath through a temporary file put in place only when complete, so that
// a failure leaves the file as it was. An error sentence ("... cannot be written: ..."), or empty.
QString WriteWholeFile(const QString& strPath, const QByteArray& data);
