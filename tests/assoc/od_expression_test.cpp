// Expressions: what they mean, where they fail, and a comparison with a plain evaluator.

#include "assoc/od_expression.h"
#include "assoc/od_platform.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

namespace {

using OdExpression::Parser;

class ExpressionTest : public testing::Test
{
protected:
    /// The value of a constant expression; NaN if there is none.
    static double valueOf(OdString const& text)
    {
        Parser parser;
        (void)parser.setExpression(text);
        const OdDbEvalVariantPtr value = parser.evaluate();
        return value.isNull() ? std::numeric_limits<double>::quiet_NaN() : value->getDouble();
    }
    static double valueWith(OdString const& text, double x)
    {
        Parser parser;
        EXPECT_EQ(parser.setExpression(text), kOdOk);
        double value = 0;
        const std::optional<double> values[] = {x};
        EXPECT_EQ(parser.evaluate(values, value), kOdOk);
        return value;
    }
    static std::string errorOf(OdString const& text)
    {
        Parser parser;
        if (parser.setExpression(text) == kOdOk) {
            double value = 0;
            (void)parser.evaluate({}, value);
        }
        return std::string(parser.errorText().utf8());
    }

    OdPlatform m_platform;
};

struct ValueCase
{
    char const* text;
    double value;
};

TEST_F(ExpressionTest, OperatorsBindByStrengthAndGroupFromTheLeftButForPowers)
{
    constexpr ValueCase kCases[] = {
        {"1+2*3", 7},     {"(1+2)*3", 9},     {"10-4-3", 3}, {"64/4/2", 8},     {"2^3^2", 512},
        {"-2^2", -4},     {"2^-1", 0.5},      {"(-2)^2", 4}, {"2^-3^2*512", 1}, {"7%4", 3},
        {"-7%4", -3},     {"7.5%2", 1.5},     {"2*-3", -6},  {"--3", 3},        {"+3", 3},
        {"- - + -3", -3}, {"1<2", 1},         {"2<=1", 0},   {"1+1==2", 1},     {"1=1", 1},
        {"1!=1", 0},      {"1<>2", 1},        {"3>2>1", 0},  {"1<2+3", 1},      {"2>=2", 1},
        {"6/2*3", 9},     {" \t1 +\n 1 ", 2}, {"2*3%4", 2},
    };
    for (ValueCase const& one : kCases) {
        EXPECT_DOUBLE_EQ(valueOf(one.text), one.value) << one.text;
    }
}

TEST_F(ExpressionTest, NumbersAreReadAsTheyArePrinted)
{
    constexpr ValueCase kCases[] = {
        {"1e+20", 1e20},
        {"1e-07", 1e-7},
        {"1.5E3", 1500},
        {".5", 0.5},
        {"5.", 5},
        {"0.1", 0.1},
        {"1e-400", 0},
        {"0e999999999999999999999", 0},
        {"0.00000000000000000001e20", 1},
        {"123456789012", 123456789012.0},
    };
    for (ValueCase const& one : kCases) {
        EXPECT_EQ(valueOf(one.text), one.value) << one.text;
    }
    EXPECT_EQ(valueOf("-0"), 0.0);
    EXPECT_TRUE(std::signbit(valueOf("-0")));
}

TEST_F(ExpressionTest, FunctionsGiveWhatMathematicsSays)
{
    constexpr ValueCase kCases[] = {
        {"sin(pi/2)", 1},
        {"cos(0)", 1},
        {"tan(0)", 0},
        {"asin(1)*2/pi", 1},
        {"acos(1)", 0},
        {"atan(1)*4/pi", 1},
        {"atan2(1,-1)*4/pi", 3},
        {"sqrt(16)", 4},
        {"cbrt(27)", 3},
        {"abs(-3)", 3},
        {"exp(0)", 1},
        {"ln(e)", 1},
        {"log10(1000)", 3},
        {"log2(8)", 3},
        {"floor(-1.5)", -2},
        {"ceil(-1.5)", -1},
        {"round(2.5)", 3},
        {"round(-2.5)", -3},
        {"trunc(-2.7)", -2},
        {"min(3,1,2)", 1},
        {"max(3,1,2)", 3},
        {"min(4)", 4},
        {"pow(2,10)", 1024},
        {"sign(-9)", -1},
        {"sign(0)", 0},
        {"hypot(3,4)", 5},
        {"mod(7,4)", 3},
        {"deg(pi)", 180},
        {"rad(180)/pi", 1},
        {"sinh(0)", 0},
        {"cosh(0)", 1},
        {"tanh(0)", 0},
        {"SIN(PI/2)", 1},
        {"if(1<2,10,20)", 10},
        {"if(1>2,10,20)", 20},
        {"if(1,if(0,1,2),3)+1", 3},
        {"max(if(0,1,5),2^2)", 5},
        {"sqrt (4)", 2},
    };
    for (ValueCase const& one : kCases) {
        EXPECT_NEAR(valueOf(one.text), one.value, 1e-12) << one.text;
    }
}

TEST_F(ExpressionTest, TheBranchNotTakenIsNotComputed)
{
    EXPECT_EQ(valueOf("if(0, 1/0, 7)"), 7);
    EXPECT_EQ(valueOf("if(1, 7, 1/0)"), 7);
}

struct ErrorCase
{
    char const* text;
    char const* error;
};

TEST_F(ExpressionTest, ErrorsTellTheColumnInCharacters)
{
    constexpr ErrorCase kCases[] = {
        {"", "column 1: expression ends too early"},
        {"1+", "column 3: expression ends too early"},
        {"1 2", "column 3: expected an operator instead of 2"},
        {"2x", "column 2: expected an operator instead of x"},
        {"(1+2", "column 1: parenthesis is not closed"},
        {"sin(1", "column 1: parenthesis is not closed"},
        {"1+2)", "column 4: closing parenthesis without an opening one"},
        {"()", "column 2: expected a value instead of )"},
        {"sin()", "column 5: expected a value instead of )"},
        {"1,2", "column 2: comma outside of a function's arguments"},
        {"(1,2)", "column 3: comma outside of a function's arguments"},
        {"sin(1,2)", "column 1: wrong number of arguments of sin"},
        {"atan2(1)", "column 1: wrong number of arguments of atan2"},
        {"1+if(1,2)", "column 3: wrong number of arguments of if"},
        {"if(1,2,3,4)", "column 1: wrong number of arguments of if"},
        {"1+foo(2)", "column 3: unknown function foo"},
        {"1+foo", "column 3: unknown name foo"},
        {"1 # 2", "column 3: unexpected sign #"},
        {"1!2", "column 2: unexpected sign !"},
        {"1e400", "column 1: number is too large"},
        {"0.0001e999999999999999999999", "column 1: number is too large"},
        {"3*/4", "column 3: expected a value instead of /"},
        {"1/0", "column 2: division by zero"},
        {"1%0", "column 2: division by zero"},
        {"0^-1", "column 2: result is not a finite number"},
        {"1e308*10", "column 6: result is not a finite number"},
        {"2+sqrt(-1)", "column 3: result is not a finite number"},
        {"(-8)^(1/3)", "column 5: result is not a finite number"},
        {"inf", "column 1: inf is no number"},
        {"-nan", "column 2: nan is no number"},
        {"Infinity", "column 1: Infinity is no number"},
        {"\xC3\xA4\xF0\x9D\x95\x8F+\xE2\x82\xAC", "column 4: unexpected sign \xE2\x82\xAC"},
    };
    for (ErrorCase const& one : kCases) {
        EXPECT_EQ(errorOf(one.text), one.error) << one.text;
    }
}

TEST_F(ExpressionTest, AFailureLeavesNoExpression)
{
    Parser parser;
    ASSERT_EQ(parser.setExpression("1+1"), kOdOk);
    ASSERT_EQ(parser.setExpression("1+"), kOdInvalidInput);
    EXPECT_FALSE(parser.isConstExpression());
    EXPECT_TRUE(parser.evaluate().isNull());
    EXPECT_TRUE(parser.names().empty());
}

TEST_F(ExpressionTest, AnExpressionIsConstantIfItNamesNoVariable)
{
    Parser parser;
    ASSERT_EQ(parser.setExpression("2*pi+E"), kOdOk);
    EXPECT_TRUE(parser.isConstExpression());
    ASSERT_EQ(parser.setExpression("2*width"), kOdOk);
    EXPECT_FALSE(parser.isConstExpression());
    EXPECT_TRUE(parser.evaluate().isNull());
    EXPECT_FALSE(Parser().isConstExpression());
}

TEST_F(ExpressionTest, NamesAreGivenOnceInOrderOfFirstMention)
{
    Parser parser;
    ASSERT_EQ(parser.setExpression("b + a*B + sin(c) + a + pi"), kOdOk);
    std::vector<std::string> names;
    for (OdExpression::Name const& name : parser.names()) {
        names.emplace_back(name.text.utf8());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"b", "a", "c", "pi"}));
    EXPECT_EQ(parser.names()[2].column, 15);
}

TEST_F(ExpressionTest, NamesCompareWithoutCaseInAnyScript)
{
    Parser parser;
    ASSERT_EQ(parser.setExpression(L"\u00C4nderung + \u00E4NDERUNG * \u0434\u043B\u0438\u043D\u0430"
                                   L" + \u0414\u041B\u0418\u041D\u0410 + \u9577\u3055"),
              kOdOk);
    EXPECT_EQ(parser.names().size(), 3U);
}

TEST_F(ExpressionTest, AVariableTakesPrecedenceOverAConstantOfItsName)
{
    EXPECT_EQ(valueWith("2*e", 10), 20);
}

TEST_F(ExpressionTest, AValueThatIsNoFiniteNumberFails)
{
    Parser parser;
    ASSERT_EQ(parser.setExpression("x"), kOdOk);
    double value = 5;
    const std::optional<double> values[] = {std::numeric_limits<double>::infinity()};
    EXPECT_EQ(parser.evaluate(values, value), kOdInvalidInput);
    EXPECT_EQ(value, 5);
}

struct NameCase
{
    wchar_t const* text;
    bool isName;
};

TEST_F(ExpressionTest, NamesStartWithALetterOfAnyScriptOrAnUnderscore)
{
    constexpr NameCase kCases[] = {
        {L"a", true},       {L"_1", true},      {L"a1_b", true},
        {L"\u00E4", true},  {L"\u03B1", true},  {L"\u9577", true},
        {L"x\u2081", true}, {L"x\u0301", true}, {L"\u0915\u093E", true},
        {L"\u05D0", true},  {L"pi", true},      {L"sin", true},
        {L"", false},       {L"1a", false},     {L"a b", false},
        {L"a-b", false},    {L"*a", false},     {L"a.b", false},
        {L"\u20AC", false}, {L"\u00D7", false}, {L"\u2081", false},
        {L"\u0301", false}, {L"inf", false},    {L"NaN", false},
        {L"a(", false},     {L"\u3000", false}, {L"a\u00A0b", false},
    };
    for (NameCase const& one : kCases) {
        EXPECT_EQ(OdExpression::isName(one.text), one.isName) << OdString(one.text).utf8();
    }
    EXPECT_FALSE(OdExpression::isName(OdString(static_cast<wchar_t>(0xDC80))));
    EXPECT_FALSE(OdExpression::isName(OdString(static_cast<wchar_t>(0x7FFFFFFF))));
}

struct RenameCase
{
    char const* text;
    char const* expected;
};

TEST_F(ExpressionTest, RenamingGoesByTokensAndNotByText)
{
    constexpr RenameCase kCases[] = {
        {"a+ab+ba", "xy+ab+ba"},
        {"A*a", "xy*xy"},
        {"a(1)", "a(1)"},
        {"1e5+e5", "1e5+e5"},
        {"  a  ", "  xy  "},
        {"sin(a)^a", "sin(xy)^xy"},
        {"a_a+_a", "a_a+_a"},
        {"min(a,2*a)", "min(xy,2*xy)"},
        {"", ""},
    };
    for (RenameCase const& one : kCases) {
        EXPECT_EQ(OdExpression::renamed(one.text, "a", "xy"), OdString(one.expected)) << one.text;
    }
    EXPECT_EQ(OdExpression::renamed("e*1e5", "e", "f"), OdString("f*1e5"));
    EXPECT_TRUE(OdExpression::mentions("2*WIDTH", "width"));
    EXPECT_FALSE(OdExpression::mentions("2*widths + width(2)", "width"));
}

TEST_F(ExpressionTest, DeepNestingCostsMemoryAndNoStack)
{
    constexpr int kDepth = 100'000;
    const std::string open(kDepth, '(');
    const std::string close(kDepth, ')');
    EXPECT_EQ(valueOf((open + "7" + close).c_str()), 7);
    EXPECT_EQ(errorOf((open + "7").c_str()), "column 100000: parenthesis is not closed");
    std::string calls;
    for (int i = 0; i < kDepth; ++i) {
        calls += "abs(-";
    }
    EXPECT_EQ(valueOf((calls + "3" + close).c_str()), 3);
    EXPECT_EQ(valueOf((std::string(kDepth, '-') + "3").c_str()), 3);
    std::string powers;
    for (int i = 0; i < kDepth; ++i) {
        powers += "1^";
    }
    EXPECT_EQ(valueOf((powers + "1").c_str()), 1);
    std::string branches;
    for (int i = 0; i < kDepth; ++i) {
        branches += "if(1,";
    }
    std::string ends;
    for (int i = 0; i < kDepth; ++i) {
        ends += ",0)";
    }
    EXPECT_EQ(valueOf((branches + "4" + ends).c_str()), 4);
}

TEST_F(ExpressionTest, AMegabyteOfTextIsParsed)
{
    std::string sum = "0";
    std::string names = "0";
    while (sum.size() < 1'000'000) {
        sum += "+1";
    }
    while (names.size() < 1'000'000) {
        names += "+v" + std::to_string(names.size());
    }
    EXPECT_EQ(valueOf(sum.c_str()), static_cast<double>(sum.size() / 2));
    Parser parser;
    EXPECT_EQ(parser.setExpression(names.c_str()), kOdOk);
    EXPECT_EQ(errorOf(std::string(1'000'000, '(').c_str()),
              "column 1000001: expression ends too early");
}

TEST_F(ExpressionTest, ATextBeyondTheLimitIsRefused)
{
    Parser parser;
    EXPECT_EQ(parser.setExpression(OdString(L'1', OdExpression::kMaxLength + 1)), kOdInvalidInput);
    EXPECT_EQ(std::string(parser.errorText().utf8()), "column 4194305: expression is too long");
}

// ---------------------------------------------------------------------------------------------
// Comparison with a plain evaluator

/// An expression as a tree, with its text and its value told by recursion.
struct Tree
{
    enum Kind
    {
        kNumber,
        kName,
        kNegate,
        kBinary,
        kCall
    } kind = kNumber;
    double number = 0;
    std::string symbol;
    std::shared_ptr<Tree const> left;
    std::shared_ptr<Tree const> right;

    std::string text() const
    {
        switch (kind) {
        case kNumber: {
            char buffer[40];
            std::snprintf(buffer, sizeof buffer, "%.17g", number);
            return buffer;
        }
        case kName:
            return symbol;
        case kNegate:
            return "(-" + left->text() + ")";
        case kCall:
            return symbol + "(" + left->text() + "," + right->text() + ")";
        default:
            return "(" + left->text() + " " + symbol + " " + right->text() + ")";
        }
    }
    /// NaN where any part has no finite value.
    double value(double x) const
    {
        double result = 0;
        switch (kind) {
        case kNumber:
            return number;
        case kName:
            return x;
        case kNegate:
            return -left->value(x);
        default:
            break;
        }
        const double a = left->value(x);
        const double b = right->value(x);
        if (std::isnan(a) || std::isnan(b)) {
            return std::numeric_limits<double>::quiet_NaN();
        }
        if (symbol == "+") {
            result = a + b;
        } else if (symbol == "-") {
            result = a - b;
        } else if (symbol == "*") {
            result = a * b;
        } else if (symbol == "/") {
            result = a / b;
        } else if (symbol == "%") {
            result = std::fmod(a, b);
        } else if (symbol == "^" || symbol == "pow") {
            result = std::pow(a, b);
        } else if (symbol == "<") {
            result = a < b ? 1 : 0;
        } else if (symbol == "==") {
            result = a == b ? 1 : 0;
        } else if (symbol == "atan2") {
            result = std::atan2(a, b);
        } else if (symbol == "min") {
            result = std::min(a, b);
        } else {
            result = std::max(a, b);
        }
        return std::isfinite(result) ? result : std::numeric_limits<double>::quiet_NaN();
    }
};

std::shared_ptr<Tree const> randomTree(int depth)
{
    auto tree = std::make_shared<Tree>();
    const int choice = *rc::gen::inRange(0, depth <= 0 ? 2 : 9);
    if (choice == 0) {
        tree->number = *rc::gen::inRange(0, 1000) / 8.0;
    } else if (choice == 1) {
        tree->kind = Tree::kName;
        tree->symbol = "x";
    } else if (choice == 2) {
        tree->kind = Tree::kNegate;
        tree->left = randomTree(depth - 1);
    } else {
        tree->kind = choice < 7 ? Tree::kBinary : Tree::kCall;
        tree->symbol =
            choice < 7
                ? *rc::gen::elementOf(
                      std::vector<std::string>{"+", "-", "*", "/", "%", "^", "<", "=="})
                : *rc::gen::elementOf(std::vector<std::string>{"min", "max", "pow", "atan2"});
        tree->left = randomTree(depth - 1);
        tree->right = randomTree(depth - 1);
    }
    return tree;
}

RC_GTEST_FIXTURE_PROP(ExpressionTest, GivesWhatAPlainEvaluatorGives, ())
{
    const std::shared_ptr<Tree const> tree = randomTree(6);
    const double x = *rc::gen::inRange(-50, 50) / 4.0;
    Parser parser;
    RC_ASSERT(parser.setExpression(tree->text().c_str()) == kOdOk);
    const std::vector<std::optional<double>> values(parser.names().size(), x);
    double value = 0;
    const OdResult result = parser.evaluate(values, value);
    const double expected = tree->value(x);
    if (std::isnan(expected)) {
        RC_ASSERT(result == kOdInvalidInput);
    } else {
        RC_ASSERT(result == kOdOk);
        RC_ASSERT(value == expected);
    }
}

/// A flat expression without parentheses, evaluated by precedence climbing.
class Reference
{
public:
    Reference(std::string const& text, std::size_t at = 0) : m_text(text), m_at(at) {}

    double sum()
    {
        double value = product();
        while (peek() == '+' || peek() == '-') {
            const char sign = take();
            const double right = product();
            value = sign == '+' ? value + right : value - right;
        }
        return value;
    }

private:
    char peek() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
    char take() { return m_text[m_at++]; }
    double product()
    {
        double value = signedPower();
        while (peek() == '*' || peek() == '/') {
            const char sign = take();
            const double right = signedPower();
            value = sign == '*' ? value * right : value / right;
        }
        return value;
    }
    double signedPower()
    {
        if (peek() == '-') {
            (void)take();
            return -signedPower();
        }
        const double base = take() - '0';
        if (peek() != '^') {
            return base;
        }
        (void)take();
        return std::pow(base, signedPower());
    }

    std::string const& m_text;
    std::size_t m_at;
};

RC_GTEST_FIXTURE_PROP(ExpressionTest, GroupsAsAPlainEvaluatorDoesWithoutParentheses, ())
{
    std::string text;
    const int count = *rc::gen::inRange(1, 12);
    for (int i = 0; i < count; ++i) {
        if (i != 0) {
            text += *rc::gen::element('+', '-', '*', '/', '^');
        }
        if (*rc::gen::inRange(0, 3) == 0) {
            text += '-';
        }
        text += static_cast<char>('1' + *rc::gen::inRange(0, 3));
    }
    const double expected = Reference(text).sum();
    const double value = valueOf(text.c_str());
    if (std::isfinite(expected) && !std::isnan(value)) {
        RC_ASSERT(value == expected);
    } else {
        RC_ASSERT(std::isnan(value));
    }
}

TEST_F(ExpressionTest, AParserOfAnyBytesComesToAnEnd)
{
    // Each text of up to four signs out of those that matter.
    constexpr wchar_t kSigns[] = L"1e.+^(),a%<=!- f";
    const int count = static_cast<int>(std::size(kSigns)) - 1;
    int parsed = 0;
    for (int number = 0; number < count * count * count * count; ++number) {
        OdString text;
        for (int rest = number; rest > 0; rest /= count) {
            text += kSigns[rest % count];
        }
        Parser parser;
        const OdResult result = parser.setExpression(text);
        parsed += result == kOdOk ? 1 : 0;
        ASSERT_TRUE(result == kOdOk || parser.errorColumn() > 0) << text.utf8();
        ASSERT_LE(parser.errorColumn(), text.getLength() + 1) << text.utf8();
    }
    EXPECT_GT(parsed, 100);
}

}  // namespace
