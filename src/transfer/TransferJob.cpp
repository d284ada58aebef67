#include "transfer/TransferJob.h"

#include "transfer/TransferRoutines.h"

QString OperationWord(TransferOperation operation)
{
    switch (operation) {
    case TransferOperation::Upload:
        return QStringLiteral("UPLOAD");
    case TransferOperation::Download:
        return QStringLiteral("DOWNLOAD");
    case TransferOperation::Delete:
        return QStringLiteral("DELETE");
    case TransferOperation::Copy:
        return QStringLiteral("COPY");
    case TransferOperation::Rename:
        return QStringLiteral("RENAME");
    }
    return {};
}

QString FailureMessage(const TransferJob& job)
{
    switch (job.operation) {
    case TransferOperation::Upload:
        return job.bFolder ? QStringLiteral("Failed to upload folder.") : QStringLiteral("Failed to upload file.");
    case TransferOperation::Download:
        return job.bFolder ? QStringLiteral("Download failed.") : QStringLiteral("Failed to download file.");
    case TransferOperation::Delete:
        return QStringLiteral("Failed to delete.");
    case TransferOperation::Copy:
        return QStringLiteral("Failed to copy within FTP.");
    case TransferOperation::Rename:
        return QStringLiteral("Failed to rename.");
    }
    return {};
}

QString FailureWithReason(const QString& strFailure, const QString& strReason)
{
    const QString strTrimmed = strReason.trimmed();
    return strTrimmed.isEmpty() ? strFailure : strFailure + QLatin1Char(' ') + strTrimmed;
}

QString RemotePathOf(const TransferJob& job)
{
    return JoinRemotePath(job.strRemoteFolder, job.strName);
}
