#pragma once

#include <optional>

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

// How a site's server writes names on the wire. Automatic and UTF-8 keep names as the bytes they are (valid
// UTF-8 read as such, any other byte kept as itself); UTF-8 also asks the server for it (OPTS UTF8 ON) when FEAT
// does not offer it. Latin-1 and Windows-1252 are for servers that decode commands and encode listings in a
// code page of their own (Twisted's server by default), where the bytes would otherwise be read twice over.
enum class NameCharset
{
    Automatic,
    Utf8,
    Latin1,
    Windows1252
};

// "auto", "utf-8", "latin-1", "windows-1252"; and back, nothing for another word.
QString NameCharsetWord(NameCharset charset);
std::optional<NameCharset> NameCharsetFromWord(const QString& strWord);
// As the site manager shows it.
QString NameCharsetTitle(NameCharset charset);

// What the server sent (a listing, a reply), as text.
QString DecodeServerText(QByteArrayView bytes, NameCharset charset);
// Text to send; nothing when a character has no byte in the code page (such a name must not be sent at all:
// any stand-in would name another file).
std::optional<QByteArray> EncodeServerText(const QString& strText, NameCharset charset);
