#pragma once

#include <optional>
#include <vector>

#include <QDateTime>
#include <QString>
#include <QStringList>

// One rule of a multi-rename. Rules are pure: the new name depends only on the name, its place in the
// selection and the facts given with it, so a preview is exactly what a rename will do.
struct RenameRule
{
    enum class Kind
    {
        Prefix, // strText before the name
        Suffix, // strText after the name, before the extension unless bAfterExtension
        Number, // the name (without extension) from a pattern: "photo-[N:3]" -> photo-001, photo-002 ...
        Fields, // the name split at strText, fields kept in the order of strWith ("3,1"; 1 is the first field)
        Replace, // strText replaced by strWith, anywhere or as a whole word, with or without case
        Regex, // a regular expression replaced by strWith, \1 to \9 naming its groups
        Case, // lower, upper or title case
        Trim // leading and trailing spaces gone, runs of spaces made one
    };
    enum class CaseMode
    {
        Lower,
        Upper,
        Title
    };

    Kind kind = Kind::Prefix;
    QString strText;
    QString strWith;
    bool bAfterExtension = false;
    bool bCaseSensitive = true;
    bool bWholeWord = false;
    int nStart = 1;
    int nStep = 1;
    CaseMode caseMode = CaseMode::Lower;
};

// What a rule may use besides the name: its place in the selection (0 for the first), its folder, its date.
struct NameFacts
{
    int nIndex = 0;
    QString strParent;
    QDateTime modified;
};

// The name split at its extension: "report.final.pdf" -> "report.final" and ".pdf"; ".htaccess" has none.
std::pair<QString, QString> SplitExtension(const QString& strName);

// The name after one rule, and after every rule in order.
QString ApplyRule(const RenameRule& rule, const QString& strName, const NameFacts& facts);
QString ApplyRules(const std::vector<RenameRule>& rules, const QString& strName, const NameFacts& facts);

// Why a rule cannot work (a regular expression that does not compile, a field order that is not one), or
// empty.
QString WhyRuleIsRefused(const RenameRule& rule);

// Rules as text, to keep them by name and to read them back; nothing when the text is not a rule list.
QString RulesToText(const std::vector<RenameRule>& rules);
std::optional<std::vector<RenameRule>> RulesFromText(const QString& strText);

// A rule from the command line's form ("--prefix", "new-"); nothing, with strError, for a bad one.
std::optional<RenameRule> RuleFromOption(const QString& strOption, const QString& strValue, QString& strError);

// One line that says what a rule does, for the rule list.
QString DescribeRule(const RenameRule& rule);
