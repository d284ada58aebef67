#include "support/Netrc.h"

#include <QRegularExpression>
#include <QStringList>

std::optional<QString> NetrcPassword(const QString& strNetrcText, const QString& strHost, const QString& strUser)
{
    // Tokens are separated by white space; "macdef" bodies run to the next empty line and are skipped.
    QStringList tokens;
    for (const QString& strParagraph : strNetrcText.split(QRegularExpression(QStringLiteral("\\n\\s*\\n")))) {
        const QStringList words = strParagraph.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
        const qsizetype nMacro = words.indexOf(QStringLiteral("macdef"));
        tokens += nMacro < 0 ? words : words.mid(0, nMacro);
    }
    std::optional<QString> defaultPassword;
    bool bInEntry = false;
    bool bHostMatches = false;
    bool bDefault = false;
    QString strLogin;
    std::optional<QString> password;
    auto finishEntry = [&]() -> std::optional<QString> {
        const bool bUserMatches = strLogin.isEmpty() || strUser.isEmpty() || strLogin == strUser;
        if (bInEntry && password && bUserMatches) {
            if (bHostMatches) {
                return password;
            }
            if (bDefault && !defaultPassword) {
                defaultPassword = password;
            }
        }
        return std::nullopt;
    };
    for (qsizetype i = 0; i < tokens.size(); ++i) {
        const QString& token = tokens[i];
        if (token == QLatin1String("machine") || token == QLatin1String("default")) {
            if (std::optional<QString> found = finishEntry()) {
                return found;
            }
            bInEntry = true;
            bDefault = token == QLatin1String("default");
            bHostMatches
                = !bDefault && i + 1 < tokens.size() && tokens[i + 1].compare(strHost, Qt::CaseInsensitive) == 0;
            if (!bDefault) {
                ++i;
            }
            strLogin.clear();
            password.reset();
        } else if (token == QLatin1String("login") && i + 1 < tokens.size()) {
            strLogin = tokens[++i];
        } else if (token == QLatin1String("password") && i + 1 < tokens.size()) {
            password = tokens[++i];
        } else if (token == QLatin1String("account") && i + 1 < tokens.size()) {
            ++i;
        }
    }
    if (std::optional<QString> found = finishEntry()) {
        return found;
    }
    return defaultPassword;
}
