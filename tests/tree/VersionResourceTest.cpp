#include <cstring>
#include <random>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "tree/PeImageBuilder.h"
#include "tree/VersionResource.h"

namespace {

std::optional<FileVersion> ParseBytes(const QByteArray& bytes)
{
    return ParseVersionResource([&bytes](std::uint64_t nOffset, void* pBuffer, std::size_t nBytes) {
        if (nOffset > static_cast<std::uint64_t>(bytes.size()) || nBytes > bytes.size() - nOffset) {
            return false;
        }
        std::memcpy(pBuffer, bytes.constData() + nOffset, nBytes);
        return true;
    });
}

TEST(VersionResource, ReadsTheFixedFileVersionOf32And64BitImages)
{
    PeImageSpec spec;
    spec.version[0] = 10;
    spec.version[1] = 0;
    spec.version[2] = 65535;
    spec.version[3] = 7;
    EXPECT_EQ(ParseBytes(BuildPeImage(spec)), (FileVersion { 10, 0, 65535, 7 }));
    spec.b64Bit = true;
    EXPECT_EQ(ParseBytes(BuildPeImage(spec)), (FileVersion { 10, 0, 65535, 7 }));

    const QString strPath = MakeTestFolder(QStringLiteral("version")) + QStringLiteral("/tool.EXE");
    WriteFileBytes(strPath, BuildPeImage(spec));
    EXPECT_EQ(ReadVersionText(strPath), QStringLiteral("10.0.65535.7"));
}

TEST(VersionResource, ImagesWithoutAVersionAndOtherFilesHaveNone)
{
    PeImageSpec spec;
    spec.bWithVersion = false;
    EXPECT_EQ(ParseBytes(BuildPeImage(spec)), std::nullopt);
    EXPECT_EQ(ParseBytes(QByteArray("#!/bin/sh\necho not a program image\n")), std::nullopt);
    EXPECT_EQ(ParseBytes(QByteArray()), std::nullopt);
    EXPECT_TRUE(ReadVersionText(QStringLiteral("/no/such/file.dll")).isEmpty());
}

// A damaged or hostile file must never crash the scan or make it read outside the file.
TEST(VersionResource, TruncatedAndCorruptedImagesNeverCrash)
{
    const QByteArray image = BuildPeImage(PeImageSpec {});
    for (qsizetype nLength = 0; nLength < image.size(); ++nLength) {
        const std::optional<FileVersion> version = ParseBytes(image.left(nLength));
        if (version) {
            EXPECT_EQ(*version, (FileVersion { 1, 2, 3, 4 })) << "a version read from " << nLength << " bytes";
        }
    }
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        QByteArray damaged = image;
        for (int nFlips = 1 + static_cast<int>(random() % 4); nFlips > 0; --nFlips) {
            damaged[static_cast<qsizetype>(random() % static_cast<unsigned>(damaged.size()))]
                = static_cast<char>(random());
        }
        (void)ParseBytes(damaged);
    }
}

TEST(VersionResource, OnlyProgramFileNamesAreOpened)
{
    for (const char* name : { "a.exe", "B.DLL", "x.ocx", "driver.sys", "c.cpl", "s.scr", "l.mui" }) {
        EXPECT_TRUE(MayHaveVersionResource(QString::fromUtf8(name))) << name;
    }
    for (const char* name : { "index.html", "exe", "a.exe.txt", "dll", "archive.zip" }) {
        EXPECT_FALSE(MayHaveVersionResource(QString::fromUtf8(name))) << name;
    }
}

} // namespace
