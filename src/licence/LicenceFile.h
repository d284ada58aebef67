#pragma once

#include <QByteArray>
#include <QDate>
#include <QString>

// A licence file: "Name: value" lines, the last of them "Signature: <base64>", an Ed25519 signature over
// every byte before that line.
//
//     Product: Quorvel
//     Holder: Example Ltd
//     Expires: 2027-12-31        (or "never")
//     Signature: ...
struct LicenceFile
{
    QString strProduct;
    QString strHolder;
    QDate expires; // null: never
    QByteArray signedPart;
    QByteArray signature;
};

// Reads the file's fields; false with strWhy when it is not a licence file at all.
bool ParseLicenceFile(const QByteArray& text, LicenceFile& licence, QString& strWhy);
