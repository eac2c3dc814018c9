#include "literals.h"
#include "trace_capture.h"
#include "vorn_sync_exclusions.h"

#include <QRegularExpression>
#include <QTest>

#include <random>

using namespace VornSyncTest;

namespace {

constexpr quint32 kSeed = 20260101;
constexpr int kRandomPatterns = 1500;
constexpr int kRandomNamesEach = 60;

// What a pattern says by definition.
bool isMatch(const QString& pattern, const QString& name)
{
    return QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern),
                              QRegularExpression::CaseInsensitiveOption)
        .match(name)
        .hasMatch();
}

QStringList names()
{
    const QString longS = "\u017f"_s;
    const QString kelvin = "\u212a"_s;
    QStringList all = {"a"_s,       "A"_s,          "aa"_s,
                       "ab"_s,      "b"_s,          ".tmp"_s,
                       "x.tmp"_s,   "X.TMP"_s,      "x.tmp "_s,
                       "x.tmpx"_s,  "tmp"_s,        "xtmp"_s,
                       "x.tmp.y"_s, "~$x"_s,        "~$"_s,
                       "x~$"_s,     "~X"_s,         "x.T1P"_s,
                       "xy"_s,      "x1y"_s,        "XY"_s,
                       "xyx"_s,     "a+b"_s,        "aab"_s,
                       "A+B"_s,     "(x)"_s,        "x"_s,
                       "X"_s,       "^y$"_s,        "y"_s,
                       "z.$"_s,     "z."_s,         "z"_s,
                       "."_s,       ".."_s,         "..."_s,
                       "[ab]c"_s,   "bc"_s,         "Bc"_s,
                       "cb"_s,      "-"_s,          "é"_s,
                       "É"_s,       "xé"_s,         "xÉ"_s,
                       "éx"_s,      "e\u0301"_s,    "i"_s,
                       "I"_s,       "\u0130"_s,     "\u0131"_s,
                       "\u0130x"_s, "s"_s,          "S"_s,
                       "ss"_s,      "ß"_s,          "\u1e9e"_s,
                       "k"_s,       "K"_s,          "\n"_s,
                       "a\n"_s,     "\na"_s,        "x\n.tmp"_s,
                       "x.tmp\n"_s, "a\r\n"_s,      "/"_s,
                       "a/b"_s,     "/a"_s,         "a/"_s,
                       "a/x.tmp"_s, "~$/x"_s,       "x/y"_s,
                       "\\"_s,      "a\\b"_s,       "*"_s,
                       "?"_s,       "*.tmp"_s,      " "_s,
                       "a b"_s,     "\U0001F600"_s, "\U0001F600.tmp"_s,
                       "%1.tmp"_s,  "a{2}"_s,       "a|b"_s,
                       "#a"_s,      "\u00b5"_s,     "\u03bc"_s,
                       "\u03a3"_s,  "\u03c2"_s,     "\u03c3"_s,
                       "\u2126"_s,  "\u03c9"_s,     "\u01c5"_s,
                       "\u01c6"_s,  "\u01c4"_s,     "\u0345"_s,
                       "\u03b9"_s,  "\u1fbe"_s,     "\u00e5"_s,
                       "\u212b"_s};
    all << longS << kelvin << longS + longS << "x."_s + longS + "tmp"_s
        << "x.TM"_s + longS << kelvin + ".tmp"_s
        << "de"_s + longS + kelvin + "top.ini"_s
        << "DESKTOP.INI"_s
        << "desktop.ini"_s
        << "DE"_s + longS + "KTOP.\u0130N\u0130"_s
        << "de"_s + longS + "ktop.\u0131n\u0131"_s << QString(255, QLatin1Char('n')) << "a\0b"_s
        << "a\0.tmp"_s
        << "\0"_s;
    return all;
}

// What random patterns and names are made of: few letters, so that many match.
const QStringList& pieces()
{
    static const QStringList all = {
        "a"_s,      "b"_s,      "K"_s,      "s"_s, "i"_s, "."_s, "$"_s,  "+"_s, "\u017f"_s,
        "\u212a"_s, "\u0130"_s, "\u0131"_s, "é"_s, "É"_s, "/"_s, "\n"_s, "~"_s, "("_s,
        ")"_s,      "^"_s,      "|"_s,      "{"_s, "}"_s, "#"_s, " "_s,  "-"_s, "\U0001F600"_s};
    return all;
}

} // namespace

class TestExclusions : public QObject
{
    Q_OBJECT

private slots:
    void asTheExpression_data();
    void asTheExpression();
    void asTheExpressionAtRandom();
    void anyOfSeveral();
    void emptyNameNeverMatches();
    void patternsThatSayNothing();
    void manyLettersOneComparison();
};

void TestExclusions::asTheExpression_data()
{
    QTest::addColumn<QString>("pattern");
    for (const QString& pattern :
         {"*.tmp"_s,   "~$*"_s,     "a"_s,      "*"_s,   "**"_s,          "***"_s,         "?x"_s,
          "?"_s,       "[ab]*"_s,   "*.T?P"_s,  "x*y"_s, "*é"_s,          "é*"_s,          "é"_s,
          "*.tmp*"_s,  "a+b"_s,     "(x)"_s,    "^y$"_s, "*.$"_s,         "."_s,           "*."_s,
          ".*"_s,      "..*"_s,     "A*"_s,     "*S"_s,  "s*"_s,          "s"_s,           "k*"_s,
          "*K"_s,      "*.TMP"_s,   "*ss"_s,    "i"_s,   "I*"_s,          "*i"_s,          "\u0130"_s,
          "*\u0131"_s, "\u017f*"_s, "\u212a"_s, "a/b"_s, "*/b"_s,         "a/*"_s,         "a\\b"_s,
          "*\\b"_s,    "[!a]"_s,    "[^a]"_s,   "[a-"_s, "a]"_s,          "*]"_s,          "a{2}"_s,
          "a|b"_s,     "*|b"_s,     "#a"_s,     "#*"_s,  " "_s,           "* "_s,          "a b"_s,
          "*\n"_s,     "a\n"_s,     "\n*"_s,    "%1*"_s, "*\U0001F600"_s, "\U0001F600*"_s, "desktop.ini"_s,
          "desk*"_s,   "*.ini"_s,   "*n"_s,     "x.*"_s, "$"_s,           "^*"_s,          "*$"_s,
          "*^"_s,      "\\*"_s,     "\\a"_s,    "*a*"_s, "~*"_s,          "-*"_s,          "*-"_s,
          "\u00b5*"_s, "\u03c3"_s})
        QTest::addRow("%s", qPrintable(pattern)) << pattern;
    QTest::newRow("NUL") << "a\0b"_s;
    QTest::newRow("asterisk, NUL") << "*\0.tmp"_s;
}

void TestExclusions::asTheExpression()
{
    QFETCH(QString, pattern);
    const TraceCapture trace; // of patterns that do not compile
    const VornSyncExclusions exclusions({pattern});
    for (const QString& name : names())
        QVERIFY2(exclusions.matches(name) == isMatch(pattern, name), qPrintable(name));
}

void TestExclusions::asTheExpressionAtRandom()
{
    std::mt19937 random(kSeed);
    const auto below = [&random](int bound) { return int(random() % quint32(bound)); };
    const auto text = [&](int longest) {
        QString made;
        for (int i = 1 + below(longest); i > 0; --i)
            made += pieces().at(below(int(pieces().size())));
        return made;
    };
    int matches = 0;
    for (int i = 0; i < kRandomPatterns; ++i) {
        const QString literal = text(3);
        const QString pattern = (below(2) ? "*"_s : QString()) + literal + (below(2) ? "*"_s : QString());
        const VornSyncExclusions exclusions({pattern});
        const QRegularExpression expression(QRegularExpression::wildcardToRegularExpression(pattern),
                                            QRegularExpression::CaseInsensitiveOption);
        for (int j = 0; j < kRandomNamesEach; ++j) {
            const QString cased = below(2) ? literal.toUpper() : literal.toLower();
            const QString name = (below(2) ? text(2) : QString()) + (below(2) ? cased : literal) +
                                 (below(2) ? text(2) : QString());
            const bool isExpected = expression.match(name).hasMatch();
            matches += int(isExpected);
            QVERIFY2(exclusions.matches(name) == isExpected, qPrintable("'%1' '%2'"_s.arg(pattern, name)));
        }
    }
    QVERIFY(matches > kRandomPatterns);
    QVERIFY(matches < kRandomPatterns * kRandomNamesEach - kRandomPatterns);
}

void TestExclusions::anyOfSeveral()
{
    const VornSyncExclusions exclusions({"*.tmp"_s, QString(), "~$*"_s, "[ab]"_s});
    QVERIFY(!exclusions.isEmpty());
    for (const QString& name : {"x.tmp"_s, "~$x"_s, "B"_s})
        QVERIFY2(exclusions.matches(name), qPrintable(name));
    for (const QString& name : {"x"_s, "c"_s, "ab"_s})
        QVERIFY2(!exclusions.matches(name), qPrintable(name));
}

// Also where the pattern does: there is no such file.
void TestExclusions::emptyNameNeverMatches()
{
    const VornSyncExclusions exclusions({"*"_s, "**"_s});
    QVERIFY(!exclusions.matches(QString()));
    QVERIFY(!exclusions.matches(""_s));
    QVERIFY(exclusions.matches("a"_s));
}

void TestExclusions::patternsThatSayNothing()
{
    const TraceCapture trace;
    QVERIFY(VornSyncExclusions({}).isEmpty());
    QVERIFY(VornSyncExclusions({QString(), ""_s}).isEmpty());
    QCOMPARE(trace.warnings(), QStringList());
    QVERIFY(!VornSyncExclusions({}).matches("a"_s));
    QVERIFY(VornSyncExclusions({"[a-"_s}).isEmpty());
    QCOMPARE(trace.warnings().size(), 1);
    QVERIFY(
        trace.warnings().first().startsWith("VornSyncSynchronizer: ignoring invalid exclusion pattern"_s));
}

// Every character of the basic plane against some of ASCII: two ways to compare without regard to case must agree
// on each of them.
void TestExclusions::manyLettersOneComparison()
{
    QString letters;
    for (uint code = 1; code < 0x10000; ++code) {
        if (!QChar::isSurrogate(code))
            letters += QChar(code);
    }
    for (const QChar c : "aAiIkKsSzZ019.~$+-(#"_s) {
        const QString literal(c);
        const VornSyncExclusions whole({literal});
        const VornSyncExclusions prefix({literal + QLatin1Char('*')});
        const VornSyncExclusions suffix({QLatin1Char('*') + literal});
        QString expected;
        auto found =
            QRegularExpression(QRegularExpression::escape(literal), QRegularExpression::CaseInsensitiveOption)
                .globalMatch(letters);
        while (found.hasNext())
            expected += found.next().captured();
        QVERIFY(expected.contains(literal));
        QString matched[3];
        for (const QChar letter : qAsConst(letters)) {
            const QString name(letter);
            if (whole.matches(name))
                matched[0] += letter;
            if (prefix.matches(name))
                matched[1] += letter;
            if (suffix.matches(name))
                matched[2] += letter;
        }
        for (const QString& set : matched)
            QCOMPARE(set, expected);
    }
}

QTEST_APPLESS_MAIN(TestExclusions)
#include "test_exclusions.moc"
