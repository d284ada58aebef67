#include "ftp/NameCharset.h"

#include <array>

#include "support/NameBytes.h"

namespace {

// Windows-1252's bytes 0x80 to 0x9F; the five it leaves undefined stand for the C1 control of the same number,
// as web browsers read them, so that every byte still turns back into itself.
constexpr std::array<char16_t, 32> kWindows1252High { 0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178 };

// A lone surrogate U+DC80..U+DCFF stands for a byte that was not part of valid UTF-8 (a local name that is
// not UTF-8): in a code page it turns back into that byte.
std::optional<char> ByteOf(char16_t ch, NameCharset charset)
{
    if (ch >= 0xDC80 && ch <= 0xDCFF) {
        return static_cast<char>(ch - 0xDC00);
    }
    if (charset == NameCharset::Windows1252) {
        for (std::size_t i = 0; i < kWindows1252High.size(); ++i) {
            if (kWindows1252High[i] == ch) {
                return static_cast<char>(0x80 + i);
            }
        }
        if (ch >= 0x80 && ch <= 0x9F) {
            return std::nullopt;
        }
    }
    if (ch <= 0xFF) {
        return static_cast<char>(ch);
    }
    return std::nullopt;
}

} // namespace

QString NameCharsetWord(NameCharset charset)
{
    switch (charset) {
    case NameCharset::Automatic:
        break;
    case NameCharset::Utf8:
        return QStringLiteral("utf-8");
    case NameCharset::Latin1:
        return QStringLiteral("latin-1");
    case NameCharset::Windows1252:
        return QStringLiteral("windows-1252");
    }
    return QStringLiteral("auto");
}

std::optional<NameCharset> NameCharsetFromWord(const QString& strWord)
{
    for (const NameCharset charset :
        { NameCharset::Automatic, NameCharset::Utf8, NameCharset::Latin1, NameCharset::Windows1252 }) {
        if (strWord.compare(NameCharsetWord(charset), Qt::CaseInsensitive) == 0) {
            return charset;
        }
    }
    return std::nullopt;
}

QString NameCharsetTitle(NameCharset charset)
{
    switch (charset) {
    case NameCharset::Automatic:
        break;
    case NameCharset::Utf8:
        return QStringLiteral("UTF-8");
    case NameCharset::Latin1:
        return QStringLiteral("Latin-1 (ISO 8859-1)");
    case NameCharset::Windows1252:
        return QStringLiteral("Windows-1252");
    }
    return QStringLiteral("Automatic (names as sent)");
}

QString DecodeServerText(QByteArrayView bytes, NameCharset charset)
{
    if (charset == NameCharset::Automatic || charset == NameCharset::Utf8) {
        return NameFromBytes(bytes);
    }
    QString strText;
    strText.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        strText.append(charset == NameCharset::Windows1252 && value >= 0x80 && value <= 0x9F
                ? QChar(kWindows1252High[value - 0x80])
                : QChar(static_cast<char16_t>(value)));
    }
    return strText;
}

std::optional<QByteArray> EncodeServerText(const QString& strText, NameCharset charset)
{
    if (charset == NameCharset::Automatic || charset == NameCharset::Utf8) {
        return NameToBytes(strText);
    }
    QByteArray bytes;
    bytes.reserve(strText.size());
    for (const QChar ch : strText) {
        const std::optional<char> byte = ByteOf(ch.unicode(), charset);
        if (!byte) {
            return std::nullopt;
        }
        bytes.append(*byte);
    }
    return bytes;
}
