#include "support/TextFormat.h"

#include <cstdio>
#include <string>

namespace {

struct ConversionSpec
{
    std::string strFlags;
    int nWidth = -1;
    int nPrecision = -1;
    bool bLong = false;
    char chConversion = 0;
};

// Parses the part of a conversion after '%'; returns the index just past it, or npos when the text ends
// before a conversion character.
size_t ParseSpec(std::string_view fmt, size_t pos, ConversionSpec& spec)
{
    while (pos < fmt.size() && std::string_view("-+ #0").find(fmt[pos]) != std::string_view::npos) {
        spec.strFlags += fmt[pos++];
    }
    auto readNumber = [&](int& target) {
        if (pos < fmt.size() && fmt[pos] >= '0' && fmt[pos] <= '9') {
            target = 0;
            while (pos < fmt.size() && fmt[pos] >= '0' && fmt[pos] <= '9') {
                target = std::min(target * 10 + (fmt[pos++] - '0'), 4096);
            }
        }
    };
    readNumber(spec.nWidth);
    if (pos < fmt.size() && fmt[pos] == '.') {
        ++pos;
        spec.nPrecision = 0;
        readNumber(spec.nPrecision);
    }
    while (pos < fmt.size() && std::string_view("hlLqjzt").find(fmt[pos]) != std::string_view::npos) {
        spec.bLong = spec.bLong || fmt[pos] == 'l' || fmt[pos] == 'L' || fmt[pos] == 'q' || fmt[pos] == 'j';
        ++pos;
    }
    if (pos >= fmt.size()) {
        return std::string_view::npos;
    }
    spec.chConversion = fmt[pos];
    return pos + 1;
}

QString PadText(QString text, const ConversionSpec& spec)
{
    if (spec.nPrecision >= 0 && text.size() > spec.nPrecision) {
        text.truncate(spec.nPrecision);
    }
    if (spec.nWidth > text.size()) {
        const QString padding(spec.nWidth - text.size(), QLatin1Char(' '));
        text = spec.strFlags.find('-') != std::string::npos ? text + padding : padding + text;
    }
    return text;
}

std::string NarrowSpec(const ConversionSpec& spec, const char* length, char conversion)
{
    std::string narrow = "%" + spec.strFlags;
    if (spec.nWidth >= 0) {
        narrow += std::to_string(spec.nWidth);
    }
    if (spec.nPrecision >= 0) {
        narrow += "." + std::to_string(spec.nPrecision);
    }
    return narrow + length + conversion;
}

template <typename T> QString PrintNumber(const std::string& narrowSpec, T value)
{
    char buffer[4200];
    const int written = std::snprintf(buffer, sizeof buffer, narrowSpec.c_str(), value);
    if (written < 0) {
        return {};
    }
    return QString::fromLatin1(buffer, std::min<qsizetype>(written, sizeof buffer - 1));
}

QString FormatInteger(const ConversionSpec& spec, const FormatArg& arg)
{
    long long nSigned = arg.nSigned;
    unsigned long long nUnsigned = arg.nUnsigned;
    switch (arg.kind) {
    case FormatArg::Kind::Signed:
        nUnsigned = static_cast<unsigned long long>(arg.nSigned);
        if (arg.nSigned < 0 && !spec.bLong) {
            nUnsigned = static_cast<unsigned int>(arg.nSigned);
        }
        break;
    case FormatArg::Kind::Unsigned:
        nSigned = static_cast<long long>(arg.nUnsigned);
        break;
    case FormatArg::Kind::Floating:
        nSigned = static_cast<long long>(arg.dValue);
        nUnsigned = static_cast<unsigned long long>(nSigned);
        break;
    case FormatArg::Kind::Text:
        return PadText(arg.strText, spec);
    }
    if (spec.chConversion == 'd' || spec.chConversion == 'i') {
        // An unsigned value above the signed range prints as the unsigned number it is.
        if (arg.kind == FormatArg::Kind::Unsigned && nSigned < 0) {
            return PrintNumber(NarrowSpec(spec, "ll", 'u'), nUnsigned);
        }
        return PrintNumber(NarrowSpec(spec, "ll", 'd'), nSigned);
    }
    return PrintNumber(NarrowSpec(spec, "ll", spec.chConversion), nUnsigned);
}

QString FormatFloating(const ConversionSpec& spec, const FormatArg& arg)
{
    double value = arg.dValue;
    switch (arg.kind) {
    case FormatArg::Kind::Signed:
        value = static_cast<double>(arg.nSigned);
        break;
    case FormatArg::Kind::Unsigned:
        value = static_cast<double>(arg.nUnsigned);
        break;
    case FormatArg::Kind::Floating:
        break;
    case FormatArg::Kind::Text:
        return PadText(arg.strText, spec);
    }
    return PrintNumber(NarrowSpec(spec, "", spec.chConversion), value);
}

QString FormatAsText(const ConversionSpec& spec, const FormatArg& arg)
{
    switch (arg.kind) {
    case FormatArg::Kind::Signed:
        return PadText(QString::number(arg.nSigned), spec);
    case FormatArg::Kind::Unsigned:
        return PadText(QString::number(arg.nUnsigned), spec);
    case FormatArg::Kind::Floating:
        return PadText(QString::number(arg.dValue), spec);
    case FormatArg::Kind::Text:
        break;
    }
    return PadText(arg.strText, spec);
}

QString FormatCharacter(const ConversionSpec& spec, const FormatArg& arg)
{
    if (arg.kind == FormatArg::Kind::Text) {
        return PadText(arg.strText.left(1), spec);
    }
    const auto code = static_cast<char32_t>(arg.kind == FormatArg::Kind::Signed ? arg.nSigned : arg.nUnsigned);
    return PadText(QString::fromUcs4(&code, 1), spec);
}

} // namespace

QString FormatTextArgs(std::string_view fmt, std::span<const FormatArg> args)
{
    QString result;
    result.reserve(static_cast<qsizetype>(fmt.size()) + 32);
    size_t nextArg = 0;
    size_t literalStart = 0;
    auto flushLiteral = [&](size_t end) {
        result += QString::fromUtf8(fmt.data() + literalStart, static_cast<qsizetype>(end - literalStart));
    };
    size_t pos = 0;
    while ((pos = fmt.find('%', pos)) != std::string_view::npos) {
        flushLiteral(pos);
        ConversionSpec spec;
        const size_t end = ParseSpec(fmt, pos + 1, spec);
        if (end == std::string_view::npos) {
            literalStart = pos;
            break;
        }
        if (spec.chConversion == '%') {
            result += QLatin1Char('%');
        } else if (std::string_view("diuxXocsSfeEgG").find(spec.chConversion) == std::string_view::npos
            || nextArg >= args.size()) {
            result += QString::fromUtf8(fmt.data() + pos, static_cast<qsizetype>(end - pos));
        } else {
            const FormatArg& arg = args[nextArg++];
            switch (spec.chConversion) {
            case 's':
            case 'S':
                result += FormatAsText(spec, arg);
                break;
            case 'c':
                result += FormatCharacter(spec, arg);
                break;
            case 'f':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
                result += FormatFloating(spec, arg);
                break;
            default:
                result += FormatInteger(spec, arg);
                break;
            }
        }
        pos = end;
        literalStart = end;
    }
    flushLiteral(fmt.size());
    return result;
}

QString EscapeControlCharacters(QStringView text)
{
    QString strShown;
    strShown.reserve(text.size());
    for (const QChar ch : text) {
        const char16_t code = ch.unicode();
        if (code < 0x20 || (code >= 0x7F && code <= 0x9F)) {
            strShown += QStringLiteral("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
        } else if (code >= 0xDC80 && code <= 0xDCFF) {
            // A byte of a name that is not UTF-8, kept as it is: shown as the byte it stands for.
            strShown += QStringLiteral("\\x%1").arg(code - 0xDC00, 2, 16, QLatin1Char('0'));
        } else {
            strShown += ch;
        }
    }
    return strShown;
}

QString ByteCountText(std::int64_t nBytes)
{
    static const char* const kUnits[] = { "KiB", "MiB", "GiB", "TiB" };
    if (nBytes < 1024) {
        return FormatText("%lld bytes", static_cast<long long>(nBytes));
    }
    double dValue = static_cast<double>(nBytes) / 1024.0;
    int nUnit = 0;
    while (dValue >= 1024.0 && nUnit < 3) {
        dValue /= 1024.0;
        ++nUnit;
    }
    return FormatText(dValue < 10.0 ? "%.1f %s" : "%.0f %s", dValue, kUnits[nUnit]);
}
