#include "licence/LicenceFile.h"

#include <QList>

bool ParseLicenceFile(const QByteArray& text, LicenceFile& licence, QString& strWhy)
{
    const qsizetype nSignature = text.indexOf("\nSignature: ");
    if (nSignature < 0) {
        strWhy = QStringLiteral("the file holds no signature");
        return false;
    }
    licence.signedPart = text.left(nSignature + 1);
    licence.signature
        = QByteArray::fromBase64(text.mid(nSignature + 12).trimmed(), QByteArray::AbortOnBase64DecodingErrors);
    bool bExpires = false;
    for (const QByteArray& line : licence.signedPart.split('\n')) {
        const qsizetype nColon = line.indexOf(": ");
        if (nColon <= 0) {
            continue;
        }
        const QByteArray name = line.left(nColon);
        const QString strValue = QString::fromUtf8(line.mid(nColon + 2)).trimmed();
        if (name == "Product") {
            licence.strProduct = strValue;
        } else if (name == "Holder") {
            licence.strHolder = strValue;
        } else if (name == "Expires") {
            bExpires = true;
            licence.expires = strValue == QLatin1String("never") ? QDate() : QDate::fromString(strValue, Qt::ISODate);
            if (strValue != QLatin1String("never") && !licence.expires.isValid()) {
                strWhy = QStringLiteral("its expiry date cannot be read");
                return false;
            }
        }
    }
    if (licence.strProduct != QLatin1String("Quorvel") || licence.strHolder.isEmpty() || !bExpires) {
        strWhy = QStringLiteral("it is not a Quorvel licence (Product, Holder or Expires missing)");
        return false;
    }
    if (licence.signature.size() != 64) {
        strWhy = QStringLiteral("its signature is not one");
        return false;
    }
    return true;
}
