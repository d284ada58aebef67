// The licence plug-in: loaded at run time from beside the program, it says whether a licence file is a
// genuine, unexpired Quorvel licence. The public key it checks signatures with is built into it, so that
// replacing the key means replacing the plug-in.
#include <cstring>
#include <memory>

#include <QDate>
#include <QtGlobal>

#include <openssl/evp.h>

#include "licence/LicenceFile.h"

namespace {

constexpr unsigned char kPublicKey[32] = { QUORVEL_LICENCE_PUBLIC_KEY };

bool SignatureHolds(const LicenceFile& licence)
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pKey(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, kPublicKey, sizeof kPublicKey), EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> pContext(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!pKey || !pContext || EVP_DigestVerifyInit(pContext.get(), nullptr, nullptr, nullptr, pKey.get()) != 1) {
        return false;
    }
    return EVP_DigestVerify(pContext.get(), reinterpret_cast<const unsigned char*>(licence.signature.constData()),
               static_cast<size_t>(licence.signature.size()),
               reinterpret_cast<const unsigned char*>(licence.signedPart.constData()),
               static_cast<size_t>(licence.signedPart.size()))
        == 1;
}

void Tell(const QString& strText, char* pMessage, int nMessageSize)
{
    if (pMessage == nullptr || nMessageSize <= 0) {
        return;
    }
    const QByteArray text = strText.toUtf8().left(nMessageSize - 1);
    std::memcpy(pMessage, text.constData(), static_cast<size_t>(text.size()));
    pMessage[text.size()] = '\0';
}

} // namespace

// 1 when the text is a genuine licence valid on the day nJulianDay, with its holder and expiry in pMessage;
// 0 with the reason in pMessage.
extern "C" Q_DECL_EXPORT int QuorvelVerifyLicence(
    const char* pText, int nLength, long long nJulianDay, char* pMessage, int nMessageSize)
{
    LicenceFile licence;
    QString strWhy;
    if (pText == nullptr || nLength <= 0 || !ParseLicenceFile(QByteArray(pText, nLength), licence, strWhy)) {
        Tell(QStringLiteral("not a licence: ") + strWhy, pMessage, nMessageSize);
        return 0;
    }
    if (!SignatureHolds(licence)) {
        Tell(QStringLiteral("the licence has been altered or was not issued for Quorvel"), pMessage, nMessageSize);
        return 0;
    }
    if (licence.expires.isValid() && QDate::fromJulianDay(nJulianDay) > licence.expires) {
        Tell(QStringLiteral("the licence of %1 expired on %2")
                 .arg(licence.strHolder, licence.expires.toString(Qt::ISODate)),
            pMessage, nMessageSize);
        return 0;
    }
    Tell(QStringLiteral("registered to %1, %2")
             .arg(licence.strHolder,
                 licence.expires.isValid() ? QStringLiteral("until ") + licence.expires.toString(Qt::ISODate)
                                           : QStringLiteral("without an end")),
        pMessage, nMessageSize);
    return 1;
}
