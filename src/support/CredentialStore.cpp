#include "support/CredentialStore.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>

#include <qt6keychain/keychain.h>

namespace {

const QString kService = QStringLiteral("Quorvel");
const QString kNoService = QStringLiteral("No secret service is running");

// Whether a secret service could be reached at all: on Linux every one of them sits on the session bus.
bool SessionBusExists()
{
#ifdef Q_OS_LINUX
    const QString strRuntime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")
        || (!strRuntime.isEmpty() && QFileInfo::exists(strRuntime + QStringLiteral("/bus")));
#else
    return true;
#endif
}

// A keychain job run to its end; a service that does not answer within 20 seconds counts as none.
bool RunJob(QKeychain::Job& job, QString& strError)
{
    if (!SessionBusExists()) {
        strError = kNoService;
        return false;
    }
    // Passwords never go to a plain file, whatever the library would allow.
    job.setInsecureFallback(false);
    job.setAutoDelete(false);
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(20000, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
    switch (job.error()) {
    case QKeychain::NoError:
        return true;
    case QKeychain::NoBackendAvailable:
    case QKeychain::NotImplemented:
        strError = kNoService;
        return false;
    default:
        strError = QStringLiteral("The secret store failed: ") + job.errorString();
        return false;
    }
}

class CSystemCredentialStore : public ICredentialStore
{
public:
    std::optional<QString> Read(const QString& strKey, QString& strError) override
    {
        QKeychain::ReadPasswordJob job(kService);
        job.setKey(strKey);
        if (!RunJob(job, strError)) {
            if (job.error() == QKeychain::EntryNotFound) {
                strError.clear();
            }
            return std::nullopt;
        }
        return job.textData();
    }

    bool Write(const QString& strKey, const QString& strSecret, QString& strError) override
    {
        QKeychain::WritePasswordJob job(kService);
        job.setKey(strKey);
        job.setTextData(strSecret);
        return RunJob(job, strError);
    }

    bool Remove(const QString& strKey, QString& strError) override
    {
        QKeychain::DeletePasswordJob job(kService);
        job.setKey(strKey);
        if (RunJob(job, strError)) {
            return true;
        }
        // With no service there, nothing can have been kept.
        if (job.error() == QKeychain::EntryNotFound || job.error() == QKeychain::NoBackendAvailable
            || !SessionBusExists()) {
            strError.clear();
            return true;
        }
        return false;
    }
};

} // namespace

std::optional<QString> CMemoryCredentialStore::Read(const QString& strKey, QString& strError)
{
    if (m_bUnavailable) {
        strError = kNoService;
        return std::nullopt;
    }
    const auto found = m_secrets.find(strKey);
    return found != m_secrets.end() ? std::optional<QString>(found->second) : std::nullopt;
}

bool CMemoryCredentialStore::Write(const QString& strKey, const QString& strSecret, QString& strError)
{
    if (m_bUnavailable) {
        strError = kNoService;
        return false;
    }
    m_secrets[strKey] = strSecret;
    return true;
}

bool CMemoryCredentialStore::Remove(const QString& strKey, QString& strError)
{
    if (m_bUnavailable) {
        strError = kNoService;
        return false;
    }
    m_secrets.erase(strKey);
    return true;
}

std::unique_ptr<ICredentialStore> MakeSystemCredentialStore()
{
    return std::make_unique<CSystemCredentialStore>();
}

QString SitePasswordKey(const QString& strSiteName)
{
    return QStringLiteral("site:") + strSiteName;
}
