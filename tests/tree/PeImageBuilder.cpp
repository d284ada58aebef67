#include "tree/PeImageBuilder.h"

namespace {

void Put16(QByteArray& bytes, qsizetype nAt, std::uint32_t nValue)
{
    bytes[nAt] = static_cast<char>(nValue & 0xFF);
    bytes[nAt + 1] = static_cast<char>((nValue >> 8) & 0xFF);
}

void Put32(QByteArray& bytes, qsizetype nAt, std::uint32_t nValue)
{
    Put16(bytes, nAt, nValue & 0xFFFF);
    Put16(bytes, nAt + 2, nValue >> 16);
}

} // namespace

QByteArray BuildPeImage(const PeImageSpec& spec)
{
    constexpr qsizetype kPe = 0x40;
    constexpr qsizetype kRaw = 0x200;
    constexpr std::uint32_t kRva = 0x1000;
    constexpr std::uint32_t kVersionAt = 0x58;
    constexpr std::uint32_t kVersionSize = 40 + 52;
    const std::uint32_t nOptionalSize = spec.b64Bit ? 240 : 224;
    const std::uint32_t nDirectories = spec.b64Bit ? 112 : 96;

    QByteArray image(kRaw + 0x200, '\0');
    image[0] = 'M';
    image[1] = 'Z';
    Put32(image, 0x3C, kPe);
    image.replace(kPe, 4, QByteArray("PE\0\0", 4));
    Put16(image, kPe + 4, spec.b64Bit ? 0x8664 : 0x14C);
    Put16(image, kPe + 6, 1);
    Put16(image, kPe + 20, nOptionalSize);
    const qsizetype nOptional = kPe + 24;
    Put16(image, nOptional, spec.b64Bit ? 0x20B : 0x10B);
    Put32(image, nOptional + nDirectories - 4, 16);
    if (spec.bWithVersion) {
        Put32(image, nOptional + nDirectories + 16, kRva);
        Put32(image, nOptional + nDirectories + 20, kVersionAt + kVersionSize);
    }
    const qsizetype nSection = nOptional + nOptionalSize;
    image.replace(nSection, 5, QByteArray(".rsrc"));
    Put32(image, nSection + 8, 0x200);
    Put32(image, nSection + 12, kRva);
    Put32(image, nSection + 16, 0x200);
    Put32(image, nSection + 20, kRaw);

    // Type directory -> RT_VERSION (16) -> name 1 -> language 0x409 -> data entry.
    Put16(image, kRaw + 14, 1);
    Put32(image, kRaw + 16, 16);
    Put32(image, kRaw + 20, 0x80000000U | 0x18);
    Put16(image, kRaw + 0x18 + 14, 1);
    Put32(image, kRaw + 0x18 + 16, 1);
    Put32(image, kRaw + 0x18 + 20, 0x80000000U | 0x30);
    Put16(image, kRaw + 0x30 + 14, 1);
    Put32(image, kRaw + 0x30 + 16, 0x409);
    Put32(image, kRaw + 0x30 + 20, 0x48);
    Put32(image, kRaw + 0x48, kRva + kVersionAt);
    Put32(image, kRaw + 0x48 + 4, kVersionSize);

    const qsizetype nBlock = kRaw + kVersionAt;
    Put16(image, nBlock, kVersionSize);
    Put16(image, nBlock + 2, 52);
    const char16_t key[] = u"VS_VERSION_INFO";
    for (qsizetype i = 0; i < 15; ++i) {
        Put16(image, nBlock + 6 + 2 * i, key[i]);
    }
    const qsizetype nFixed = nBlock + 40;
    Put32(image, nFixed, 0xFEEF04BD);
    Put32(image, nFixed + 4, 0x00010000);
    Put32(image, nFixed + 8, (static_cast<std::uint32_t>(spec.version[0]) << 16) | spec.version[1]);
    Put32(image, nFixed + 12, (static_cast<std::uint32_t>(spec.version[2]) << 16) | spec.version[3]);
    return image;
}
