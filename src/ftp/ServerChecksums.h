#pragma once

#include <optional>
#include <utility>

#include <QByteArray>
#include <QString>

// Checksums a server computes of its own files, asked for where a file was not downloaded to be compared.
enum class ChecksumAlgorithm
{
    Crc32,
    Sha256,
    Sha1,
    Md5
};

enum class ChecksumCommand
{
    Hash, // HASH, with OPTS HASH to choose the algorithm
    Xcrc,
    Xsha256,
    Xsha1,
    Xmd5
};

struct ChecksumMethod
{
    ChecksumCommand command = ChecksumCommand::Hash;
    ChecksumAlgorithm algorithm = ChecksumAlgorithm::Crc32;
};

// The best method a FEAT reply offers: HASH first (CRC32 if offered, else SHA-256, SHA-1, MD5), then XCRC,
// XSHA256, XSHA1, XMD5. Nothing when the server offers none.
std::optional<ChecksumMethod> ChooseChecksumMethod(const QString& strFeatReply);

// The name OPTS HASH takes for an algorithm ("CRC32", "SHA-256" ...).
QString HashAlgorithmName(ChecksumAlgorithm algorithm);
// The command that asks for a file's checksum.
QString ChecksumCommandFor(const ChecksumMethod& method, const QString& strPath);

// The checksum a reply gives for a file of nFileSize bytes, in lower-case hex; nothing on any doubt (an
// error reply, another algorithm, a range that is not the whole file, a wrong length, a stray character).
// A file is never called Same on a guess.
std::optional<QString> ParseChecksumReply(const ChecksumMethod& method, const QString& strReply, long long nFileSize);

// The same checksum of a local file, in lower-case hex; nothing when it cannot be read.
std::optional<QString> LocalChecksum(const QString& strPath, ChecksumAlgorithm algorithm);

// A checksum as the mirror keeps it beside a placeholder: "CRC32 352441c2\n".
QByteArray RememberedChecksumText(ChecksumAlgorithm algorithm, const QString& strHex);
// Reads it back; nothing for anything that is not exactly that form.
std::optional<std::pair<ChecksumAlgorithm, QString>> ParseRememberedChecksum(const QByteArray& text);
