#include "support/NameBytes.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char16_t kEscapeBase = 0xDC00;

bool IsEscapedByte(char16_t code)
{
    return code >= 0xDC80 && code <= 0xDCFF;
}

// The length of the valid UTF-8 sequence at pData (at most nLeft bytes long), or 0 when there is none.
int ValidSequenceLength(const unsigned char* pData, qsizetype nLeft)
{
    const unsigned char lead = pData[0];
    int nLength = 0;
    char32_t nMin = 0;
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        nLength = 2;
        nMin = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        nLength = 3;
        nMin = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        nLength = 4;
        nMin = 0x10000;
    } else {
        return 0;
    }
    if (nLeft < nLength) {
        return 0;
    }
    char32_t code = lead & (0x7F >> nLength);
    for (int i = 1; i < nLength; ++i) {
        if ((pData[i] & 0xC0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (pData[i] & 0x3F);
    }
    const bool bSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < nMin || code > 0x10FFFF || bSurrogate ? 0 : nLength;
}

} // namespace

QString NameFromBytes(QByteArrayView bytes)
{
    // Nearly every name is valid UTF-8: decoded the fast way, and looked at byte by byte only when it is not.
    QString strName = QString::fromUtf8(bytes);
    if (!strName.contains(QChar(QChar::ReplacementCharacter))) {
        return strName;
    }
    strName.clear();
    const auto* pData = reinterpret_cast<const unsigned char*>(bytes.data());
    qsizetype i = 0;
    while (i < bytes.size()) {
        const int nLength = ValidSequenceLength(pData + i, bytes.size() - i);
        if (nLength == 0) {
            strName += QChar(static_cast<char16_t>(kEscapeBase + pData[i]));
            ++i;
            continue;
        }
        strName += QString::fromUtf8(bytes.sliced(i, nLength));
        i += nLength;
    }
    return strName;
}

QByteArray NameToBytes(const QString& strName)
{
    const bool bEscaped
        = std::any_of(strName.begin(), strName.end(), [](QChar ch) { return IsEscapedByte(ch.unicode()); });
    if (!bEscaped) {
        return strName.toUtf8();
    }
    QByteArray bytes;
    qsizetype nRunStart = 0;
    for (qsizetype i = 0; i < strName.size(); ++i) {
        const char16_t code = strName.at(i).unicode();
        if (!IsEscapedByte(code) || (i > 0 && strName.at(i - 1).isHighSurrogate())) {
            continue;
        }
        bytes += QStringView(strName).mid(nRunStart, i - nRunStart).toUtf8();
        bytes += static_cast<char>(code - kEscapeBase);
        nRunStart = i + 1;
    }
    bytes += QStringView(strName).mid(nRunStart).toUtf8();
    return bytes;
}

bool OpenLocalFile(QFile& file, const QString& strPath, int nFlags, QIODevice::OpenMode mode)
{
    const int fd = ::open(NameToBytes(strPath).constData(), nFlags | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    if (!file.open(fd, mode, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        errno = EIO;
        return false;
    }
    return true;
}

bool MakeLocalFolders(const QString& strPath)
{
    const QByteArray path = NameToBytes(strPath);
    struct stat info
    { };
    if (::stat(path.constData(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            return true;
        }
        errno = ENOTDIR;
        return false;
    }
    for (qsizetype nSlash = path.indexOf('/', 1); nSlash >= 0; nSlash = path.indexOf('/', nSlash + 1)) {
        const QByteArray part = path.left(nSlash);
        if (::mkdir(part.constData(), 0755) != 0 && errno != EEXIST) {
            return false;
        }
    }
    return ::mkdir(path.constData(), 0755) == 0 || errno == EEXIST;
}
