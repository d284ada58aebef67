#include <random>

#include <gmock/gmock.h>

#include "support/NameBytes.h"
#include "support/TextFormat.h"

namespace {

// Any bytes a disk or a server may hold as a name come back as the same bytes: a name once turned to U+FFFD
// could be neither copied nor deleted.
TEST(NameBytes, EveryByteSequenceRoundTrips)
{
    std::mt19937 random(7);
    for (int i = 0; i < 5000; ++i) {
        QByteArray bytes;
        const int nLength = static_cast<int>(random() % 24);
        for (int j = 0; j < nLength; ++j) {
            // Mostly the bytes that make or break UTF-8 sequences.
            bytes += static_cast<char>(random() % 3 == 0 ? 'a' + random() % 26 : 0x80 + random() % 0x80);
        }
        ASSERT_EQ(NameToBytes(NameFromBytes(bytes)), bytes) << bytes.toHex().toStdString();
    }
    for (const char* pBytes :
        { "caf\xc3\xa9", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc0\xaf", "\xf0\x9f\x98\x80\xff" }) {
        const QByteArray bytes(pBytes);
        EXPECT_EQ(NameToBytes(NameFromBytes(bytes)), bytes) << bytes.toHex().toStdString();
    }
}

TEST(NameBytes, ValidNamesAreOrdinaryTextAndOthersShowTheirBytes)
{
    EXPECT_EQ(NameFromBytes("caf\xc3\xa9.txt"), QString::fromUtf8("café.txt"));
    EXPECT_EQ(NameToBytes(QString::fromUtf8("😀 ü")), QByteArray("\xf0\x9f\x98\x80 \xc3\xbc"));
    EXPECT_EQ(EscapeControlCharacters(NameFromBytes("caf\xe9.txt")), QStringLiteral("caf\\xe9.txt"));
    EXPECT_NE(NameFromBytes("caf\xe9"), NameFromBytes("caf\xe8")) << "two names stay two names";
}

} // namespace
