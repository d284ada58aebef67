#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "ftp/NameCharset.h"
#include "support/NameBytes.h"

namespace {

TEST(NameCharset, CodePagesTurnEveryByteIntoTextAndBack)
{
    QByteArray allBytes;
    for (int i = 1; i < 256; ++i) {
        allBytes.append(static_cast<char>(i));
    }
    for (const NameCharset charset :
        { NameCharset::Automatic, NameCharset::Utf8, NameCharset::Latin1, NameCharset::Windows1252 }) {
        EXPECT_EQ(EncodeServerText(DecodeServerText(allBytes, charset), charset), allBytes)
            << NameCharsetWord(charset).toStdString();
        EXPECT_EQ(NameCharsetFromWord(NameCharsetWord(charset)), charset);
    }
    EXPECT_EQ(DecodeServerText("caf\xe9", NameCharset::Latin1), QStringLiteral("café"));
    EXPECT_EQ(DecodeServerText("\x80 \x93x\x94", NameCharset::Windows1252), QStringLiteral("€ “x”"));
    EXPECT_EQ(DecodeServerText("\x80", NameCharset::Latin1), QString(QChar(0x80)));
    EXPECT_FALSE(NameCharsetFromWord(QStringLiteral("ebcdic")));
}

TEST(NameCharset, WhatACodePageCannotWriteIsRefusedNotReplaced)
{
    EXPECT_EQ(EncodeServerText(QStringLiteral("café"), NameCharset::Latin1), QByteArray("caf\xe9"));
    EXPECT_EQ(EncodeServerText(QStringLiteral("café"), NameCharset::Automatic), QByteArray("caf\xc3\xa9"));
    EXPECT_EQ(EncodeServerText(QStringLiteral("€"), NameCharset::Windows1252), QByteArray("\x80"));
    for (const char16_t* pText : { u"snow ☃", u"日本", u"€" }) {
        EXPECT_FALSE(EncodeServerText(QString::fromUtf16(pText), NameCharset::Latin1))
            << QString::fromUtf16(pText).toStdString();
    }
    EXPECT_FALSE(EncodeServerText(QString(QChar(0x85)), NameCharset::Windows1252)) << "a C1 control 1252 uses for …";
    // A local name that is not UTF-8 keeps its own bytes in any code page.
    EXPECT_EQ(EncodeServerText(NameFromBytes("caf\xe9"), NameCharset::Latin1), QByteArray("caf\xe9"));
}

} // namespace
