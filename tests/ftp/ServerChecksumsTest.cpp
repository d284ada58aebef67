#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "ftp/ServerChecksums.h"

namespace {

TEST(ServerChecksums, TheBestOfferedMethodIsChosenFromFeat)
{
    const auto choose = [](const char* pFeat) { return ChooseChecksumMethod(QString::fromLatin1(pFeat)); };
    std::optional<ChecksumMethod> method
        = choose("211-Features:\n MDTM\n HASH SHA-256*;SHA-1;MD5;CRC32\n XCRC\n211 End");
    ASSERT_TRUE(method);
    EXPECT_EQ(method->command, ChecksumCommand::Hash);
    EXPECT_EQ(method->algorithm, ChecksumAlgorithm::Crc32) << "CRC32 before the current one";
    method = choose("211-Features:\r\n HASH SHA-1*;MD5\r\n211 End\r\n");
    ASSERT_TRUE(method);
    EXPECT_EQ(method->algorithm, ChecksumAlgorithm::Sha1);
    method = choose("211-Features:\n XMD5\n XSHA1\n211 End");
    ASSERT_TRUE(method);
    EXPECT_EQ(method->command, ChecksumCommand::Xsha1);
    EXPECT_FALSE(choose("211-Features:\n MDTM\n SIZE\n211 End"));
    EXPECT_FALSE(choose("500 FEAT not understood"));
    EXPECT_FALSE(choose("211-Features:\n HASH WHIRLPOOL\n211 End")) << "only algorithms we can compute";
    EXPECT_EQ(ChecksumCommandFor({ ChecksumCommand::Xcrc, ChecksumAlgorithm::Crc32 }, QStringLiteral("/www/a b.txt")),
        QStringLiteral("XCRC /www/a b.txt"));
}

TEST(ServerChecksums, RepliesAreReadStrictlyAndAnyDoubtGivesNothing)
{
    const ChecksumMethod hashSha { ChecksumCommand::Hash, ChecksumAlgorithm::Sha256 };
    const QString strSha = QStringLiteral("169cd22282da7f147cb491e559e9dd0c7bb5e7cb0dc0d0e3f5a3e8b62c4f7f39");
    const auto parse = [](const ChecksumMethod& method, const QString& strReply, long long nSize) {
        return ParseChecksumReply(method, strReply, nSize);
    };
    EXPECT_EQ(parse(hashSha, QStringLiteral("213 SHA-256 0-49 ") + strSha + QStringLiteral(" a.txt"), 49), strSha);
    EXPECT_EQ(
        parse(hashSha, QStringLiteral("213 SHA-256 0-48 ") + strSha.toUpper() + QStringLiteral(" a.txt"), 49), strSha)
        << "the last byte's offset, upper case";
    EXPECT_FALSE(parse(hashSha, QStringLiteral("213 SHA-256 0-20 ") + strSha + QStringLiteral(" a.txt"), 49))
        << "a part of the file";
    EXPECT_FALSE(parse(hashSha, QStringLiteral("213 SHA-1 0-49 ") + strSha + QStringLiteral(" a.txt"), 49))
        << "another algorithm than asked";
    EXPECT_FALSE(parse(hashSha, QStringLiteral("213 SHA-256 0-49 ") + strSha.left(60) + QStringLiteral(" a.txt"), 49));
    EXPECT_FALSE(parse(hashSha, QStringLiteral("213 SHA-256 0-49 ") + strSha.left(63) + QStringLiteral("g a.txt"), 49));
    EXPECT_FALSE(parse(hashSha, QStringLiteral("550 a.txt: No such file"), 49));
    EXPECT_FALSE(parse(hashSha, QStringLiteral("213 SHA-256 5-49 ") + strSha, 49));
    EXPECT_FALSE(parse(hashSha, QStringLiteral("213-SHA-256 0-49 ") + strSha + QStringLiteral("\n213 end"), 49))
        << "the checksum must be on the final line";
    EXPECT_EQ(
        parse(hashSha,
            QStringLiteral("213-Computing SHA-256 digest\n213 SHA-256 0-49 ") + strSha + QStringLiteral(" a.txt"), 49),
        strSha);

    const ChecksumMethod xcrc { ChecksumCommand::Xcrc, ChecksumAlgorithm::Crc32 };
    EXPECT_EQ(parse(xcrc, QStringLiteral("250 B0F2F3C5"), 10), QStringLiteral("b0f2f3c5"));
    EXPECT_EQ(parse(xcrc, QStringLiteral("213 b0f2f3c5 /www/a.txt"), 10), QStringLiteral("b0f2f3c5"));
    EXPECT_FALSE(parse(xcrc, QStringLiteral("250 B0F2F3"), 10)) << "a wrong length";
    EXPECT_FALSE(parse(xcrc, QStringLiteral("500 XCRC not understood"), 10));
    EXPECT_FALSE(parse(xcrc, QStringLiteral("250"), 10));
}

TEST(ServerChecksums, LocalChecksumsAreTheWellKnownOnes)
{
    const QString strFile = MakeTestFolder(QStringLiteral("checksums")) + QStringLiteral("/abc.txt");
    WriteFileBytes(strFile, "abc");
    EXPECT_EQ(LocalChecksum(strFile, ChecksumAlgorithm::Crc32), QStringLiteral("352441c2"));
    EXPECT_EQ(LocalChecksum(strFile, ChecksumAlgorithm::Md5), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
    EXPECT_EQ(
        LocalChecksum(strFile, ChecksumAlgorithm::Sha1), QStringLiteral("a9993e364706816aba3e25717850c26c9cd0d89d"));
    EXPECT_EQ(LocalChecksum(strFile, ChecksumAlgorithm::Sha256),
        QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_FALSE(LocalChecksum(strFile + QStringLiteral(".gone"), ChecksumAlgorithm::Sha1));
}

} // namespace
