// libFuzzer target for FTP URLs: they come from the command line, saved sites and imported site lists.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "ftp/FtpSite.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QString strUrl
        = QString::fromUtf8(QByteArrayView(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize)));
    const std::optional<FtpUrl> url = ParseFtpUrl(strUrl);
    // A URL read is one a connection could be opened to: a host, a port, and a folder from the root.
    if (url
        && (url->strHost.isEmpty() || url->nPort < 1 || url->nPort > 65535
            || !url->strFolder.startsWith(QLatin1Char('/')))) {
        std::abort();
    }
    return 0;
}
