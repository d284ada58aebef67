#pragma once

#include <map>
#include <memory>
#include <optional>

#include <QString>

// Where saved sites' passwords are kept: the system's secret store, never the settings profile. Every call
// says why it failed; a store with no service behind it fails each call with the same sentence.
class ICredentialStore
{
public:
    virtual ~ICredentialStore() = default;
    // The secret kept under strKey; nothing when none is kept or the store cannot be reached (strError).
    virtual std::optional<QString> Read(const QString& strKey, QString& strError) = 0;
    virtual bool Write(const QString& strKey, const QString& strSecret, QString& strError) = 0;
    // True also when nothing was kept under the key.
    virtual bool Remove(const QString& strKey, QString& strError) = 0;
};

// A store in memory, for tests and for a run that must keep nothing.
class CMemoryCredentialStore : public ICredentialStore
{
public:
    std::optional<QString> Read(const QString& strKey, QString& strError) override;
    bool Write(const QString& strKey, const QString& strSecret, QString& strError) override;
    bool Remove(const QString& strKey, QString& strError) override;
    // Whether it acts as a store without a service behind it.
    void SetUnavailable(bool bUnavailable) { m_bUnavailable = bUnavailable; }

private:
    std::map<QString, QString> m_secrets;
    bool m_bUnavailable = false;
};

// The system's secret store (the Secret Service or KWallet on Linux, the keychain on macOS, the credential
// manager on Windows), asked synchronously.
std::unique_ptr<ICredentialStore> MakeSystemCredentialStore();

// The key a site's password is kept under.
QString SitePasswordKey(const QString& strSiteName);
