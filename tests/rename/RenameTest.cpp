#include <map>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "rename/RenamePlan.h"
#include "rename/RenameRules.h"

namespace {

RenameRule Rule(const char* pOption, const char* pValue)
{
    QString strError;
    const std::optional<RenameRule> rule = RuleFromOption(QLatin1String(pOption), QString::fromUtf8(pValue), strError);
    EXPECT_TRUE(rule) << pOption << " " << pValue << ": " << strError.toStdString();
    return rule.value_or(RenameRule {});
}

QStringList Names(std::initializer_list<const char*> names)
{
    QStringList list;
    for (const char* pName : names) {
        list.append(QString::fromUtf8(pName));
    }
    return list;
}

struct RuleCase
{
    std::vector<RenameRule> rules;
    std::vector<const char*> before;
    std::vector<const char*> after;
};

RenameRule Trim()
{
    RenameRule rule;
    rule.kind = RenameRule::Kind::Trim;
    return rule;
}

TEST(RenameRules, EachRuleGivesTheNamesAUserExpects)
{
    RenameRule after = Rule("--suffix", ".bak");
    after.bAfterExtension = true;
    RenameRule anyCase = Rule("--replace", "draft=final");
    anyCase.bCaseSensitive = false;
    RenameRule word = Rule("--replace", "cat=dog");
    word.bWholeWord = true;
    RenameRule counter = Rule("--number", "img_[N:2]");
    counter.nStart = 9;
    counter.nStep = 2;
    const std::vector<RuleCase> cases {
        { { Rule("--prefix", "2024-") }, { "a.txt", ".htaccess" }, { "2024-a.txt", "2024-.htaccess" } },
        { { Rule("--suffix", "_old") }, { "report.final.pdf", "README" }, { "report.final_old.pdf", "README_old" } },
        { { after }, { "site.css" }, { "site.css.bak" } },
        { { Rule("--number", "photo-[N:3]") }, { "IMG_1.jpg", "IMG_2.jpg", "x" },
            { "photo-001.jpg", "photo-002.jpg", "photo-003" } },
        { { counter }, { "a.png", "b.png" }, { "img_09.png", "img_11.png" } },
        { { Rule("--number", "[Parent]-[Base]-[N]") }, { "a.txt" }, { "docs-a-1.txt" } },
        { { Rule("--fields", "_:3,1") }, { "2024_report_final.doc", "short.doc" }, { "final_2024.doc", "short.doc" } },
        { { anyCase }, { "Draft-DRAFT.txt" }, { "final-final.txt" } },
        { { word }, { "cat catalog cat.txt" }, { "dog catalog dog.txt" } },
        { { Rule("--regex", "(\\d+)-(\\d+)=\\2-\\1") }, { "10-20.txt" }, { "20-10.txt" } },
        { { Rule("--case", "title") }, { "the old-man and_sea.TXT" }, { "The Old-Man And_Sea.Txt" } },
        { { Rule("--case", "lower"), Rule("--prefix", "X") }, { "ABC.JPG" }, { "Xabc.jpg" } },
        { { Trim() }, { "  a   b  .txt " }, { "a b .txt" } },
    };
    for (const RuleCase& test : cases) {
        for (size_t i = 0; i < test.before.size(); ++i) {
            const NameFacts facts { static_cast<int>(i), QStringLiteral("docs"), {} };
            EXPECT_EQ(
                ApplyRules(test.rules, QString::fromUtf8(test.before[i]), facts), QString::fromUtf8(test.after[i]))
                << test.before[i];
        }
    }
}

TEST(RenameRules, BadRulesAreRefusedAndRuleListsRoundTrip)
{
    QString strError;
    EXPECT_FALSE(RuleFromOption(QStringLiteral("--regex"), QStringLiteral("(unclosed=x"), strError));
    EXPECT_THAT(strError, QHasSubstr("not a regular expression"));
    EXPECT_FALSE(RuleFromOption(QStringLiteral("--fields"), QStringLiteral("_:a,b"), strError));
    EXPECT_FALSE(RuleFromOption(QStringLiteral("--replace"), QStringLiteral("nothing"), strError));
    EXPECT_FALSE(RuleFromOption(QStringLiteral("--case"), QStringLiteral("sideways"), strError));
    const std::vector<RenameRule> rules { Rule("--prefix", "a"), Rule("--number", "x[N:4]"), Rule("--case", "upper") };
    const std::optional<std::vector<RenameRule>> back = RulesFromText(RulesToText(rules));
    ASSERT_TRUE(back);
    EXPECT_EQ(ApplyRules(*back, QStringLiteral("q.txt"), { 4, {}, {} }),
        ApplyRules(rules, QStringLiteral("q.txt"), { 4, {}, {} }));
    EXPECT_FALSE(RulesFromText(QStringLiteral("{\"not\":\"a list\"}")));
    EXPECT_FALSE(RulesFromText(QStringLiteral("[{\"kind\":99}]")));
}

std::vector<RenameSource> Sources(std::initializer_list<const char*> list)
{
    const QStringList names = Names(list);
    std::vector<RenameSource> sources;
    for (qsizetype i = 0; i < names.size(); ++i) {
        sources.push_back({ QStringLiteral("/f"), names[i], { static_cast<int>(i), {}, {} } });
    }
    return sources;
}

TEST(RenamePlan, EveryClashAndInvalidNameIsFoundAndNothingMayRunThen)
{
    const FolderNames folder = [](const QString&) {
        return QStringList { QStringLiteral("a.txt"), QStringLiteral("b.txt"), QStringLiteral("keep.txt") };
    };
    // Two new names the same.
    RenamePlan plan = MakeRenamePlan(Sources({ "a.txt", "b.txt" }), { Rule("--number", "same") }, folder);
    EXPECT_EQ(plan.Count(RenameVerdict::ClashWithNew), 2);
    EXPECT_FALSE(plan.CanRun());
    // A name an item outside the selection keeps.
    plan = MakeRenamePlan(Sources({ "a.txt" }), { Rule("--number", "keep") }, folder);
    EXPECT_EQ(plan.entries[0].verdict, RenameVerdict::ClashWithExisting);
    // Invalid names: empty, a separator, a control character, too long, the program's own.
    for (const char* pPattern : { "", "x/y", "bad\tname", "$quorvel-x" }) {
        plan = MakeRenamePlan(
            Sources({ "a.txt" }), { Rule("--regex", QByteArray(QByteArray("^.*$=") + pPattern).constData()) }, folder);
        EXPECT_EQ(plan.entries[0].verdict, RenameVerdict::Invalid) << pPattern;
        EXPECT_FALSE(plan.CanRun());
    }
    plan = MakeRenamePlan(Sources({ "a.txt" }), { Rule("--prefix", QByteArray(300, 'x').constData()) }, folder);
    EXPECT_EQ(plan.entries[0].verdict, RenameVerdict::Invalid);
    // Unchanged names are no clash; a case change is fine where case matters.
    plan = MakeRenamePlan(Sources({ "a.txt", "keep.txt" }), { Rule("--replace", "a.=A.") }, folder);
    EXPECT_EQ(plan.entries[0].verdict, RenameVerdict::Fine);
    EXPECT_EQ(plan.entries[1].verdict, RenameVerdict::Unchanged);
    EXPECT_TRUE(plan.CanRun());
    // Where case does not count, "A.txt" and "a.txt" clash unless it is the item itself.
    plan = MakeRenamePlan(Sources({ "b.txt" }), { Rule("--number", "A") }, folder, false);
    EXPECT_EQ(plan.entries[0].verdict, RenameVerdict::ClashWithExisting);
    plan = MakeRenamePlan(Sources({ "a.txt" }), { Rule("--case", "upper") }, folder, false);
    EXPECT_EQ(plan.entries[0].verdict, RenameVerdict::Fine);
}

// Runs steps on a folder held as a set of names, refusing a step onto a name in use as the disk would.
bool RunSteps(const std::vector<RenameStep>& steps, QStringList& names)
{
    for (const RenameStep& step : steps) {
        if (names.contains(step.strTo) || !names.contains(step.strFrom)) {
            return false;
        }
        names.replace(names.indexOf(step.strFrom), step.strTo);
    }
    return true;
}

TEST(RenamePlan, ChainsRunFromTheirFreeEndCyclesThroughATemporaryNameAndUndoRestores)
{
    QStringList names { QStringLiteral("1.txt"), QStringLiteral("2.txt"), QStringLiteral("3.txt"), QStringLiteral("x"),
        QStringLiteral("y") };
    const FolderNames folder = [&names](const QString&) { return names; };
    // 1 -> 2, 2 -> 3, 3 -> 4 (a chain), x <-> y (a cycle)
    std::vector<RenameSource> sources = Sources({ "1.txt", "2.txt", "3.txt", "x", "y" });
    std::vector<RenameRule> rules { Rule("--regex", "^(\\d)\\.txt$=N\\1.txt"), Rule("--replace", "N1=2"),
        Rule("--replace", "N2=3"), Rule("--replace", "N3=4"), Rule("--regex", "^x$=Z"), Rule("--regex", "^y$=x"),
        Rule("--regex", "^Z$=y") };
    RenamePlan plan = MakeRenamePlan(sources, rules, folder);
    ASSERT_TRUE(plan.CanRun());
    EXPECT_EQ(plan.entries[0].strNewName, QStringLiteral("2.txt"));
    EXPECT_EQ(plan.Count(RenameVerdict::Fine), 3);
    EXPECT_EQ(plan.Count(RenameVerdict::ThroughTemporaryName), 2);
    const std::vector<RenameStep> steps = plan.Steps();
    ASSERT_TRUE(RunSteps(steps, names)) << "no step lands on a name in use";
    names.sort();
    EXPECT_EQ(names, Names({ "2.txt", "3.txt", "4.txt", "x", "y" }));
    EXPECT_EQ(steps.size(), 6u) << "five renames and one step aside";

    const RenamePlan undo = MakeUndoPlan(steps, folder);
    ASSERT_TRUE(undo.CanRun());
    ASSERT_TRUE(RunSteps(undo.Steps(), names));
    names.sort();
    EXPECT_EQ(names, Names({ "1.txt", "2.txt", "3.txt", "x", "y" }));
}

} // namespace
