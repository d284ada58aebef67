#include "rename/RenameRules.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include "support/TextFormat.h"

namespace {

// "[N]", "[N:3]", "[Name]", "[Base]", "[Ext]", "[Parent]", "[Date]" in a numbering pattern.
QString ExpandPattern(const RenameRule& rule, const QString& strName, const NameFacts& facts)
{
    static const QRegularExpression token(QStringLiteral("\\[(N(?::(\\d{1,2}))?|Name|Base|Ext|Parent|Date)\\]"));
    const auto [strBase, strExt] = SplitExtension(strName);
    QString strOut;
    qsizetype nLast = 0;
    for (auto match = token.globalMatch(rule.strText); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        strOut += rule.strText.mid(nLast, found.capturedStart() - nLast);
        const QString strToken = found.captured(1);
        if (strToken.startsWith(QLatin1Char('N'))) {
            const long long nValue
                = static_cast<long long>(rule.nStart) + static_cast<long long>(facts.nIndex) * rule.nStep;
            const int nDigits = found.captured(2).isEmpty() ? 0 : found.captured(2).toInt();
            strOut += nValue < 0 ? QString::number(nValue)
                                 : QString::number(nValue).rightJustified(nDigits, QLatin1Char('0'));
        } else if (strToken == QLatin1String("Name")) {
            strOut += strName;
        } else if (strToken == QLatin1String("Base")) {
            strOut += strBase;
        } else if (strToken == QLatin1String("Ext")) {
            strOut += strExt.mid(1);
        } else if (strToken == QLatin1String("Parent")) {
            strOut += facts.strParent;
        } else {
            strOut += facts.modified.isValid() ? facts.modified.toString(QStringLiteral("yyyy-MM-dd")) : QString();
        }
        nLast = found.capturedEnd();
    }
    return strOut + rule.strText.mid(nLast);
}

QString ReorderFields(const RenameRule& rule, const QString& strBase)
{
    if (rule.strText.isEmpty()) {
        return strBase;
    }
    const QStringList fields = strBase.split(rule.strText);
    QStringList kept;
    for (const QString& strIndex : rule.strWith.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const int nField = strIndex.trimmed().toInt();
        if (nField >= 1 && nField <= fields.size()) {
            kept.append(fields[nField - 1]);
        }
    }
    return kept.join(rule.strText);
}

QString TitleCase(const QString& strName)
{
    QString strOut = strName.toLower();
    bool bStart = true;
    for (QChar& c : strOut) {
        if (c.isLetter()) {
            if (bStart) {
                c = c.toUpper();
            }
            bStart = false;
        } else {
            bStart = c.isSpace() || c == QLatin1Char('-') || c == QLatin1Char('_') || c == QLatin1Char('.');
        }
    }
    return strOut;
}

QString ReplaceText(const RenameRule& rule, const QString& strName)
{
    if (rule.strText.isEmpty()) {
        return strName;
    }
    if (!rule.bWholeWord) {
        return QString(strName).replace(
            rule.strText, rule.strWith, rule.bCaseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive);
    }
    const QRegularExpression word(QStringLiteral("(?<![\\p{L}\\p{N}])") + QRegularExpression::escape(rule.strText)
            + QStringLiteral("(?![\\p{L}\\p{N}])"),
        rule.bCaseSensitive ? QRegularExpression::NoPatternOption : QRegularExpression::CaseInsensitiveOption);
    // The replacement is taken as it stands: a backslash in it is no group reference.
    QString strOut;
    qsizetype nLast = 0;
    for (auto match = word.globalMatch(strName); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        strOut += strName.mid(nLast, found.capturedStart() - nLast) + rule.strWith;
        nLast = found.capturedEnd();
    }
    return strOut + strName.mid(nLast);
}

QJsonObject RuleToJson(const RenameRule& rule)
{
    return { { QStringLiteral("kind"), static_cast<int>(rule.kind) }, { QStringLiteral("text"), rule.strText },
        { QStringLiteral("with"), rule.strWith }, { QStringLiteral("afterExtension"), rule.bAfterExtension },
        { QStringLiteral("caseSensitive"), rule.bCaseSensitive }, { QStringLiteral("wholeWord"), rule.bWholeWord },
        { QStringLiteral("start"), rule.nStart }, { QStringLiteral("step"), rule.nStep },
        { QStringLiteral("case"), static_cast<int>(rule.caseMode) } };
}

} // namespace

std::pair<QString, QString> SplitExtension(const QString& strName)
{
    const qsizetype nDot = strName.lastIndexOf(QLatin1Char('.'));
    if (nDot <= 0 || nDot == strName.size() - 1) {
        return { strName, {} };
    }
    return { strName.left(nDot), strName.mid(nDot) };
}

QString ApplyRule(const RenameRule& rule, const QString& strName, const NameFacts& facts)
{
    const auto [strBase, strExt] = SplitExtension(strName);
    switch (rule.kind) {
    case RenameRule::Kind::Prefix:
        return rule.strText + strName;
    case RenameRule::Kind::Suffix:
        return rule.bAfterExtension ? QString(strName + rule.strText) : QString(strBase + rule.strText + strExt);
    case RenameRule::Kind::Number:
        return ExpandPattern(rule, strName, facts) + strExt;
    case RenameRule::Kind::Fields:
        return ReorderFields(rule, strBase) + strExt;
    case RenameRule::Kind::Replace:
        return ReplaceText(rule, strName);
    case RenameRule::Kind::Regex: {
        const QRegularExpression pattern(rule.strText,
            rule.bCaseSensitive ? QRegularExpression::NoPatternOption : QRegularExpression::CaseInsensitiveOption);
        return pattern.isValid() ? QString(strName).replace(pattern, rule.strWith) : strName;
    }
    case RenameRule::Kind::Case:
        return rule.caseMode == RenameRule::CaseMode::Lower ? strName.toLower()
            : rule.caseMode == RenameRule::CaseMode::Upper  ? strName.toUpper()
                                                            : TitleCase(strName);
    case RenameRule::Kind::Trim:
        return strName.simplified();
    }
    return strName;
}

QString ApplyRules(const std::vector<RenameRule>& rules, const QString& strName, const NameFacts& facts)
{
    QString strOut = strName;
    for (const RenameRule& rule : rules) {
        strOut = ApplyRule(rule, strOut, facts);
    }
    return strOut;
}

QString WhyRuleIsRefused(const RenameRule& rule)
{
    if (rule.kind == RenameRule::Kind::Regex) {
        const QRegularExpression pattern(rule.strText);
        if (!pattern.isValid()) {
            return FormatText(
                "The pattern \"%s\" is not a regular expression: %s.", rule.strText, pattern.errorString());
        }
    }
    if (rule.kind == RenameRule::Kind::Fields) {
        if (rule.strText.isEmpty()) {
            return QStringLiteral("Give the delimiter the name is split at.");
        }
        static const QRegularExpression order(QStringLiteral("^\\s*\\d+\\s*(,\\s*\\d+\\s*)*$"));
        if (!order.match(rule.strWith).hasMatch()) {
            return FormatText("\"%s\" is not a field order; write the fields' numbers, such as 3,1,2.", rule.strWith);
        }
    }
    if (rule.kind == RenameRule::Kind::Number && rule.nStep == 0) {
        return QStringLiteral("A counter that steps by 0 gives every name the same number.");
    }
    return {};
}

QString RulesToText(const std::vector<RenameRule>& rules)
{
    QJsonArray array;
    for (const RenameRule& rule : rules) {
        array.append(RuleToJson(rule));
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

std::optional<std::vector<RenameRule>> RulesFromText(const QString& strText)
{
    const QJsonDocument document = QJsonDocument::fromJson(strText.toUtf8());
    if (!document.isArray()) {
        return std::nullopt;
    }
    std::vector<RenameRule> rules;
    for (const auto& value : document.array()) {
        const QJsonObject object = value.toObject();
        const int nKind = object.value(QStringLiteral("kind")).toInt(-1);
        const int nCase = object.value(QStringLiteral("case")).toInt();
        if (nKind < 0 || nKind > static_cast<int>(RenameRule::Kind::Trim) || nCase < 0 || nCase > 2) {
            return std::nullopt;
        }
        RenameRule rule;
        rule.kind = static_cast<RenameRule::Kind>(nKind);
        rule.strText = object.value(QStringLiteral("text")).toString();
        rule.strWith = object.value(QStringLiteral("with")).toString();
        rule.bAfterExtension = object.value(QStringLiteral("afterExtension")).toBool();
        rule.bCaseSensitive = object.value(QStringLiteral("caseSensitive")).toBool(true);
        rule.bWholeWord = object.value(QStringLiteral("wholeWord")).toBool();
        rule.nStart = object.value(QStringLiteral("start")).toInt(1);
        rule.nStep = object.value(QStringLiteral("step")).toInt(1);
        rule.caseMode = static_cast<RenameRule::CaseMode>(nCase);
        rules.push_back(rule);
    }
    return rules;
}

std::optional<RenameRule> RuleFromOption(const QString& strOption, const QString& strValue, QString& strError)
{
    RenameRule rule;
    const auto split = [&strValue](QChar separator, QString& strLeft, QString& strRight) {
        const qsizetype nAt = strValue.indexOf(separator);
        if (nAt < 0) {
            return false;
        }
        strLeft = strValue.left(nAt);
        strRight = strValue.mid(nAt + 1);
        return true;
    };
    if (strOption == QLatin1String("--prefix")) {
        rule.kind = RenameRule::Kind::Prefix;
        rule.strText = strValue;
    } else if (strOption == QLatin1String("--suffix")) {
        rule.kind = RenameRule::Kind::Suffix;
        rule.strText = strValue;
    } else if (strOption == QLatin1String("--number")) {
        rule.kind = RenameRule::Kind::Number;
        rule.strText = strValue;
    } else if (strOption == QLatin1String("--fields")) {
        rule.kind = RenameRule::Kind::Fields;
        // The delimiter comes before the last ":", so that ":" itself can be one.
        const qsizetype nAt = strValue.lastIndexOf(QLatin1Char(':'));
        if (nAt <= 0) {
            strError = QStringLiteral("--fields takes DELIMITER:ORDER, such as _:3,1,2.");
            return std::nullopt;
        }
        rule.strText = strValue.left(nAt);
        rule.strWith = strValue.mid(nAt + 1);
    } else if (strOption == QLatin1String("--replace")) {
        rule.kind = RenameRule::Kind::Replace;
        if (!split(QLatin1Char('='), rule.strText, rule.strWith) || rule.strText.isEmpty()) {
            strError = QStringLiteral("--replace takes OLD=NEW.");
            return std::nullopt;
        }
    } else if (strOption == QLatin1String("--regex")) {
        rule.kind = RenameRule::Kind::Regex;
        // The pattern may hold "=", the replacement rarely does: the last "=" divides them.
        const qsizetype nAt = strValue.lastIndexOf(QLatin1Char('='));
        if (nAt <= 0) {
            strError = QStringLiteral("--regex takes PATTERN=REPLACEMENT.");
            return std::nullopt;
        }
        rule.strText = strValue.left(nAt);
        rule.strWith = strValue.mid(nAt + 1);
    } else if (strOption == QLatin1String("--case")) {
        rule.kind = RenameRule::Kind::Case;
        if (strValue == QLatin1String("lower")) {
            rule.caseMode = RenameRule::CaseMode::Lower;
        } else if (strValue == QLatin1String("upper")) {
            rule.caseMode = RenameRule::CaseMode::Upper;
        } else if (strValue == QLatin1String("title")) {
            rule.caseMode = RenameRule::CaseMode::Title;
        } else {
            strError = QStringLiteral("--case is lower, upper or title.");
            return std::nullopt;
        }
    } else {
        strError = FormatText("unknown rule \"%s\".", strOption);
        return std::nullopt;
    }
    strError = WhyRuleIsRefused(rule);
    return strError.isEmpty() ? std::optional<RenameRule>(rule) : std::nullopt;
}

QString DescribeRule(const RenameRule& rule)
{
    switch (rule.kind) {
    case RenameRule::Kind::Prefix:
        return FormatText("Add \"%s\" in front", rule.strText);
    case RenameRule::Kind::Suffix:
        return FormatText("Add \"%s\" at the end%s", rule.strText,
            rule.bAfterExtension ? QStringLiteral(", after the extension") : QString());
    case RenameRule::Kind::Number:
        return FormatText("Name from \"%s\", counting from %d by %d", rule.strText, rule.nStart, rule.nStep);
    case RenameRule::Kind::Fields:
        return FormatText("Split at \"%s\", keep fields %s", rule.strText, rule.strWith);
    case RenameRule::Kind::Replace:
        return FormatText("Replace \"%s\" with \"%s\"%s%s", rule.strText, rule.strWith,
            rule.bWholeWord ? QStringLiteral(", whole words") : QString(),
            rule.bCaseSensitive ? QString() : QStringLiteral(", any case"));
    case RenameRule::Kind::Regex:
        return FormatText("Replace /%s/ with \"%s\"", rule.strText, rule.strWith);
    case RenameRule::Kind::Case:
        return rule.caseMode == RenameRule::CaseMode::Lower ? QStringLiteral("Lower case")
            : rule.caseMode == RenameRule::CaseMode::Upper  ? QStringLiteral("Upper case")
                                                            : QStringLiteral("Title case");
    case RenameRule::Kind::Trim:
        return QStringLiteral("Trim and collapse spaces");
    }
    return {};
}
