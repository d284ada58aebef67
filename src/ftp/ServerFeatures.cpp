#include "ftp/ServerFeatures.h"

#include <array>

QStringList FeatureLines(const QString& strReply)
{
    QStringList features;
    for (QString strLine : strReply.split(QLatin1Char('\n'))) {
        strLine = strLine.trimmed();
        if (strLine.isEmpty() || (strLine.size() >= 3 && strLine.left(3).toInt() > 0 && strLine[0].isDigit())) {
            continue;
        }
        features.append(strLine.toUpper());
    }
    return features;
}

ServerFeatures ParseFeatures(const QString& strFeatReply)
{
    ServerFeatures features;
    for (const QString& strLine : FeatureLines(strFeatReply)) {
        const QString strName = strLine.section(QLatin1Char(' '), 0, 0);
        if (strName == QLatin1String("MLST")) {
            features.bMlsd = true;
            for (QString strFact : strLine.section(QLatin1Char(' '), 1).split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
                strFact.remove(QLatin1Char('*'));
                features.mlstFacts.append(strFact.trimmed().toLower());
            }
        } else if (strName == QLatin1String("UTF8")) {
            features.bUtf8 = true;
        } else if (strName == QLatin1String("MDTM")) {
            features.bMdtm = true;
        }
    }
    return features;
}

QString MlstOptionsCommand(const ServerFeatures& features)
{
    static constexpr std::array<const char*, 5> kWanted { "type", "size", "modify", "unique", "perm" };
    QString strFacts;
    for (const char* pFact : kWanted) {
        if (features.mlstFacts.contains(QLatin1String(pFact))) {
            strFacts += QLatin1String(pFact) + QLatin1Char(';');
        }
    }
    return strFacts.isEmpty() ? QString() : QStringLiteral("OPTS MLST ") + strFacts;
}
