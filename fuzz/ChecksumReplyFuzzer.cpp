// libFuzzer target for the checksum replies and the FEAT lines that choose how to ask: a Same verdict may rest
// on a reply, and servers send what they like.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <QRegularExpression>

#include "ftp/ServerChecksums.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QString strText
        = QString::fromUtf8(QByteArrayView(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize)));
    (void)ChooseChecksumMethod(strText);
    const ChecksumCommand commands[] = { ChecksumCommand::Hash, ChecksumCommand::Xcrc, ChecksumCommand::Xsha256,
        ChecksumCommand::Xsha1, ChecksumCommand::Xmd5 };
    const ChecksumAlgorithm algorithms[]
        = { ChecksumAlgorithm::Crc32, ChecksumAlgorithm::Sha256, ChecksumAlgorithm::Sha1, ChecksumAlgorithm::Md5 };
    for (const ChecksumCommand command : commands) {
        for (const ChecksumAlgorithm algorithm : algorithms) {
            const std::optional<QString> checksum = ParseChecksumReply({ command, algorithm }, strText, 1234);
            // A checksum is lower-case hex and nothing else.
            if (checksum
                && (checksum->isEmpty() || checksum->contains(QRegularExpression(QStringLiteral("[^0-9a-f]"))))) {
                std::abort();
            }
        }
    }
    (void)ParseRememberedChecksum(QByteArray(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize)));
    return 0;
}
