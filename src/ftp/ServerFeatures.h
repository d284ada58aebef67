#pragma once

#include <QString>
#include <QStringList>

// What a server's FEAT reply offers that the listing and the names depend on.
struct ServerFeatures
{
    bool bMlsd = false; // MLST is listed, and with it MLSD
    QStringList mlstFacts; // the facts MLST offers, in lower case, without the "*" of the current ones
    bool bUtf8 = false; // names travel in UTF-8 (RFC 2640)
    bool bMdtm = false;
};

// The feature lines of a FEAT reply, upper-cased, without the reply codes around them.
QStringList FeatureLines(const QString& strReply);

ServerFeatures ParseFeatures(const QString& strFeatReply);

// "OPTS MLST type;size;modify;unique;perm;": the facts the listing reads, of those the server offers; empty when
// it offers none of them.
QString MlstOptionsCommand(const ServerFeatures& features);
