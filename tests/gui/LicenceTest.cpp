#include <memory>

#include <QFile>

#include <gmock/gmock.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include "common/TestFiles.h"
#include "gui/MainFrame.h"
#include "support/Licence.h"

namespace {

// A licence file signed with the test key.
QByteArray SignedLicence(const QString& strHolder, const QString& strExpires)
{
    const QByteArray body
        = "Product: Quorvel\nHolder: " + strHolder.toUtf8() + "\nExpires: " + strExpires.toUtf8() + "\n";
    const std::unique_ptr<BIO, decltype(&BIO_free)> pFile(BIO_new_file(QUORVEL_TEST_LICENCE_KEY, "r"), BIO_free);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pKey(
        pFile ? PEM_read_bio_PrivateKey(pFile.get(), nullptr, nullptr, nullptr) : nullptr, EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> pContext(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    unsigned char signature[64] = {};
    size_t nSize = sizeof signature;
    if (!pKey || EVP_DigestSignInit(pContext.get(), nullptr, nullptr, nullptr, pKey.get()) != 1
        || EVP_DigestSign(pContext.get(), signature, &nSize, reinterpret_cast<const unsigned char*>(body.constData()),
               static_cast<size_t>(body.size()))
            != 1) {
        return {};
    }
    return body + "Signature: " + QByteArray(reinterpret_cast<const char*>(signature), 64).toBase64() + "\n";
}

QString WriteLicence(const QString& strName, const QByteArray& text)
{
    const QString strPath = MakeTestFolder(QStringLiteral("licence")) + QLatin1Char('/') + strName;
    WriteFileBytes(strPath, text);
    return strPath;
}

const QDate kToday(2026, 11, 22);
const QString kPlugin = QStringLiteral(QUORVEL_LICENCE_PLUGIN);

TEST(Licence, OnlyAnUnalteredUnexpiredSignedFileWithThePlugInRegisters)
{
    const QByteArray good = SignedLicence(QStringLiteral("Example Ltd"), QStringLiteral("2027-12-31"));
    ASSERT_FALSE(good.isEmpty());
    LicenceState state = CheckLicence(kPlugin, WriteLicence(QStringLiteral("good"), good), kToday);
    EXPECT_TRUE(state.bRegistered) << state.strSummary.toStdString();
    EXPECT_EQ(state.strSummary, QStringLiteral("registered to Example Ltd, until 2027-12-31"));
    EXPECT_TRUE(CheckLicence(kPlugin,
        WriteLicence(QStringLiteral("never"), SignedLicence(QStringLiteral("Me"), QStringLiteral("never"))), kToday)
                    .bRegistered);

    const auto evaluation = [](const QString& strFile, const char* pWhy, const QString& strPlugin = kPlugin) {
        const LicenceState checked = CheckLicence(strPlugin, strFile, kToday);
        EXPECT_FALSE(checked.bRegistered) << strFile.toStdString();
        EXPECT_THAT(checked.strSummary, QHasSubstr(pWhy));
    };
    evaluation(
        WriteLicence(QStringLiteral("altered"), QByteArray(good).replace("Example Ltd", "Example Plc")), "altered");
    evaluation(WriteLicence(QStringLiteral("later"), QByteArray(good).replace("2027-12-31", "2099-12-31")), "altered");
    evaluation(
        WriteLicence(QStringLiteral("expired"), SignedLicence(QStringLiteral("Old Ltd"), QStringLiteral("2026-11-21"))),
        "expired on 2026-11-21");
    evaluation(WriteLicence(QStringLiteral("garbage"), "hello\n"), "not a licence");
    evaluation(WriteLicence(QStringLiteral("cut"), good.left(good.size() - 20)), "not a licence");
    evaluation(QStringLiteral("/nonexistent/quorvel.licence"), "no licence is installed");
    evaluation(WriteLicence(QStringLiteral("good2"), good), "cannot be loaded",
        QStringLiteral("/nonexistent/quorvel-licence"));
}

TEST(Licence, OnlyAGoodFileIsInstalled)
{
    const QString strTarget = MakeTestFolder(QStringLiteral("licence-target")) + QStringLiteral("/sub/Quorvel.licence");
    const QByteArray good = SignedLicence(QStringLiteral("Example Ltd"), QStringLiteral("never"));
    QByteArray altered = good;
    altered.replace("Example", "Exampel");
    LicenceState state = InstallLicence(kPlugin, WriteLicence(QStringLiteral("bad"), altered), strTarget);
    EXPECT_FALSE(state.bRegistered);
    EXPECT_THAT(state.strSummary, QHasSubstr("not installed"));
    EXPECT_FALSE(QFile::exists(strTarget));
    state = InstallLicence(kPlugin, WriteLicence(QStringLiteral("ok"), good), strTarget);
    EXPECT_TRUE(state.bRegistered) << state.strSummary.toStdString();
    EXPECT_EQ(ReadFileBytes(strTarget), good);
}

TEST(Licence, TheTitleSaysUnRegisteredInEvaluationUseOnly)
{
    CMainFrame frame;
    frame.StartLicenceChecks([] { return LicenceState { false, QStringLiteral("no licence is installed") }; });
    EXPECT_EQ(frame.windowTitle(), QStringLiteral("Quorvel - UnRegistered"));
    frame.StartLicenceChecks([] { return LicenceState { true, QStringLiteral("registered to Me") }; });
    EXPECT_EQ(frame.windowTitle(), QStringLiteral("Quorvel"));
    EXPECT_TRUE(frame.Licence().bRegistered);
}

} // namespace
