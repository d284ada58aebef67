#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include <QString>
#include <QStringView>

// One argument of a printf-style format, captured with its kind so that formatting is type-safe:
// a QString passed for "%s" is text, a number passed for "%s" prints as a decimal.
struct FormatArg
{
    enum class Kind
    {
        Signed,
        Unsigned,
        Floating,
        Text
    };
    Kind kind = Kind::Text;
    long long nSigned = 0;
    unsigned long long nUnsigned = 0;
    double dValue = 0.0;
    QString strText;
};

template <typename T> FormatArg MakeFormatArg(const T& value)
{
    FormatArg arg;
    if constexpr (std::is_same_v<T, bool>) {
        arg.kind = FormatArg::Kind::Signed;
        arg.nSigned = value ? 1 : 0;
    } else if constexpr (std::is_enum_v<T>) {
        arg.kind = FormatArg::Kind::Signed;
        arg.nSigned = static_cast<long long>(value);
    } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
        arg.kind = FormatArg::Kind::Signed;
        arg.nSigned = value;
    } else if constexpr (std::is_integral_v<T>) {
        arg.kind = FormatArg::Kind::Unsigned;
        arg.nUnsigned = value;
    } else if constexpr (std::is_floating_point_v<T>) {
        arg.kind = FormatArg::Kind::Floating;
        arg.dValue = value;
    } else if constexpr (std::is_same_v<T, QString>) {
        arg.strText = value;
    } else if constexpr (std::is_convertible_v<T, QString>) {
        arg.strText = QString(value);
    } else if constexpr (std::is_convertible_v<T, QStringView>) {
        arg.strText = QStringView(value).toString();
    } else if constexpr (std::is_convertible_v<T, std::string_view>) {
        const std::string_view text(value);
        arg.strText = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    } else {
        static_assert(std::is_same_v<T, void>, "MakeFormatArg: unsupported argument type");
    }
    return arg;
}

// Formats a printf-style pattern (UTF-8) with already captured arguments. Understands flags, width,
// precision and the conversions d i u x X o c s S f e g E G %; length modifiers are accepted and, for
// u x X o of a negative value without "l", the value is taken as a 32-bit unsigned as C would.
// A conversion without an argument is copied as it stands.
QString FormatTextArgs(std::string_view fmt, std::span<const FormatArg> args);

template <typename... Args> QString FormatText(std::string_view fmt, const Args&... args)
{
    const std::array<FormatArg, sizeof...(Args)> captured { MakeFormatArg(args)... };
    return FormatTextArgs(fmt, captured);
}

// Text from outside (a server's reply, a name in a listing) as it may reach a terminal or a pane: control
// characters (C0, DEL and C1, ESC among them) shown as \xNN, so none can move a cursor or retitle a window.
QString EscapeControlCharacters(QStringView text);

// A count of bytes for people: "820 bytes", "1.5 KiB", "12 MiB", "3.1 GiB" (units of 1,024).
QString ByteCountText(std::int64_t nBytes);
