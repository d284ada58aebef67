#include "ftp/ServerChecksums.h"

#include <QCryptographicHash>
#include <QFile>

#include <QRegularExpression>
#include <QStringList>
#include <fcntl.h>

#include "ftp/ServerFeatures.h"
#include "support/NameBytes.h"
#include "support/TextFormat.h"
#include "tree/FileContents.h"

namespace {

int HexDigitsOf(ChecksumAlgorithm algorithm)
{
    switch (algorithm) {
    case ChecksumAlgorithm::Crc32:
        return 8;
    case ChecksumAlgorithm::Sha256:
        return 64;
    case ChecksumAlgorithm::Sha1:
        return 40;
    case ChecksumAlgorithm::Md5:
        return 32;
    }
    return 0;
}

bool IsHex(const QString& strText, int nDigits)
{
    static const QRegularExpression hex(QStringLiteral("^[0-9A-Fa-f]+$"));
    return strText.size() == nDigits && hex.match(strText).hasMatch();
}

} // namespace

std::optional<ChecksumMethod> ChooseChecksumMethod(const QString& strFeatReply)
{
    const QStringList features = FeatureLines(strFeatReply);
    for (const QString& strFeature : features) {
        if (!strFeature.startsWith(QLatin1String("HASH "))) {
            continue;
        }
        // "HASH SHA-256*;SHA-1;MD5;CRC32": the star marks the current one, not the best.
        QStringList offered = strFeature.mid(5).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        for (QString& strName : offered) {
            strName = strName.trimmed().remove(QLatin1Char('*'));
        }
        for (const ChecksumAlgorithm algorithm :
            { ChecksumAlgorithm::Crc32, ChecksumAlgorithm::Sha256, ChecksumAlgorithm::Sha1, ChecksumAlgorithm::Md5 }) {
            if (offered.contains(HashAlgorithmName(algorithm))) {
                return ChecksumMethod { ChecksumCommand::Hash, algorithm };
            }
        }
    }
    const std::pair<const char*, ChecksumMethod> kCommands[] = {
        { "XCRC", { ChecksumCommand::Xcrc, ChecksumAlgorithm::Crc32 } },
        { "XSHA256", { ChecksumCommand::Xsha256, ChecksumAlgorithm::Sha256 } },
        { "XSHA1", { ChecksumCommand::Xsha1, ChecksumAlgorithm::Sha1 } },
        { "XMD5", { ChecksumCommand::Xmd5, ChecksumAlgorithm::Md5 } },
    };
    for (const auto& [pName, method] : kCommands) {
        if (features.contains(QLatin1String(pName))) {
            return method;
        }
    }
    return std::nullopt;
}

QString HashAlgorithmName(ChecksumAlgorithm algorithm)
{
    switch (algorithm) {
    case ChecksumAlgorithm::Crc32:
        return QStringLiteral("CRC32");
    case ChecksumAlgorithm::Sha256:
        return QStringLiteral("SHA-256");
    case ChecksumAlgorithm::Sha1:
        return QStringLiteral("SHA-1");
    case ChecksumAlgorithm::Md5:
        return QStringLiteral("MD5");
    }
    return {};
}

QString ChecksumCommandFor(const ChecksumMethod& method, const QString& strPath)
{
    switch (method.command) {
    case ChecksumCommand::Hash:
        return QStringLiteral("HASH ") + strPath;
    case ChecksumCommand::Xcrc:
        return QStringLiteral("XCRC ") + strPath;
    case ChecksumCommand::Xsha256:
        return QStringLiteral("XSHA256 ") + strPath;
    case ChecksumCommand::Xsha1:
        return QStringLiteral("XSHA1 ") + strPath;
    case ChecksumCommand::Xmd5:
        return QStringLiteral("XMD5 ") + strPath;
    }
    return {};
}

std::optional<QString> ParseChecksumReply(const ChecksumMethod& method, const QString& strReply, long long nFileSize)
{
    // The checksum stands on the final line; a server may say "213-Computing CRC32 digest" before it.
    const QString strLine = strReply.trimmed().section(QLatin1Char('\n'), -1).trimmed();
    if (strLine.size() < 4 || strLine[3] != QLatin1Char(' ')) {
        return std::nullopt;
    }
    const QString strCode = strLine.left(3);
    const QStringList parts = strLine.mid(4).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const int nDigits = HexDigitsOf(method.algorithm);
    if (method.command == ChecksumCommand::Hash) {
        // "213 SHA-256 0-49 <hex> <name>": the algorithm asked for, the whole file, then the checksum.
        if (strCode != QLatin1String("213") || parts.size() < 3
            || parts[0].toUpper() != HashAlgorithmName(method.algorithm)) {
            return std::nullopt;
        }
        static const QRegularExpression range(QStringLiteral("^(\\d+)-(\\d+)$"));
        const QRegularExpressionMatch match = range.match(parts[1]);
        if (!match.hasMatch() || match.captured(1).toLongLong() != 0) {
            return std::nullopt;
        }
        // The end is the size, or the last byte's offset as some servers give it; an empty file is 0-0.
        const long long nEnd = match.captured(2).toLongLong();
        if (nEnd != nFileSize && nEnd != nFileSize - 1 && !(nFileSize == 0 && nEnd == 0)) {
            return std::nullopt;
        }
        return IsHex(parts[2], nDigits) ? std::optional<QString>(parts[2].toLower()) : std::nullopt;
    }
    // "250 <hex>" (or 213), the file's name may follow.
    if ((strCode != QLatin1String("250") && strCode != QLatin1String("213")) || parts.isEmpty()) {
        return std::nullopt;
    }
    return IsHex(parts[0], nDigits) ? std::optional<QString>(parts[0].toLower()) : std::nullopt;
}

std::optional<QString> LocalChecksum(const QString& strPath, ChecksumAlgorithm algorithm)
{
    if (algorithm == ChecksumAlgorithm::Crc32) {
        std::uint32_t nCrc = 0;
        if (FileCrc(strPath, nCrc) != 0) {
            return std::nullopt;
        }
        return QStringLiteral("%1").arg(nCrc, 8, 16, QLatin1Char('0'));
    }
    QFile file;
    if (!OpenLocalFile(file, strPath, O_RDONLY, QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QCryptographicHash hash(algorithm == ChecksumAlgorithm::Sha256 ? QCryptographicHash::Sha256
            : algorithm == ChecksumAlgorithm::Sha1                 ? QCryptographicHash::Sha1
                                                                   : QCryptographicHash::Md5);
    if (!hash.addData(&file)) {
        return std::nullopt;
    }
    return QString::fromLatin1(hash.result().toHex());
}

QByteArray RememberedChecksumText(ChecksumAlgorithm algorithm, const QString& strHex)
{
    return (HashAlgorithmName(algorithm) + QLatin1Char(' ') + strHex.toLower() + QLatin1Char('\n')).toLatin1();
}

std::optional<std::pair<ChecksumAlgorithm, QString>> ParseRememberedChecksum(const QByteArray& text)
{
    if (!text.endsWith('\n')) {
        return std::nullopt;
    }
    const QStringList parts = QString::fromLatin1(text.chopped(1)).split(QLatin1Char(' '));
    if (parts.size() != 2) {
        return std::nullopt;
    }
    for (const ChecksumAlgorithm algorithm :
        { ChecksumAlgorithm::Crc32, ChecksumAlgorithm::Sha256, ChecksumAlgorithm::Sha1, ChecksumAlgorithm::Md5 }) {
        if (parts[0] == HashAlgorithmName(algorithm) && IsHex(parts[1], HexDigitsOf(algorithm))) {
            return std::pair { algorithm, parts[1].toLower() };
        }
    }
    return std::nullopt;
}
