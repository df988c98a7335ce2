#include "assoc/od_expression.h"

#include "assoc/od_expression_tokens_impl.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace OdExpression {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kE = 2.71828182845904523536;
constexpr unsigned kAnyNumber = 0xFFFFFFFFU;

using Arguments = std::span<double const>;

struct Function
{
    wchar_t const* name;
    unsigned least;
    unsigned most;
    double (*call)(Arguments);  ///< null for `if`, whose arguments are computed as needed
};

double smallest(Arguments arguments)
{
    return *std::min_element(arguments.begin(), arguments.end());
}

double largest(Arguments arguments)
{
    return *std::max_element(arguments.begin(), arguments.end());
}

double signOf(Arguments arguments)
{
    return arguments[0] > 0 ? 1.0 : (arguments[0] < 0 ? -1.0 : 0.0);
}

constexpr Function kFunctions[] = {
    {L"abs", 1, 1, [](Arguments a) { return std::fabs(a[0]); }},
    {L"acos", 1, 1, [](Arguments a) { return std::acos(a[0]); }},
    {L"asin", 1, 1, [](Arguments a) { return std::asin(a[0]); }},
    {L"atan", 1, 1, [](Arguments a) { return std::atan(a[0]); }},
    {L"atan2", 2, 2, [](Arguments a) { return std::atan2(a[0], a[1]); }},
    {L"cbrt", 1, 1, [](Arguments a) { return std::cbrt(a[0]); }},
    {L"ceil", 1, 1, [](Arguments a) { return std::ceil(a[0]); }},
    {L"cos", 1, 1, [](Arguments a) { return std::cos(a[0]); }},
    {L"cosh", 1, 1, [](Arguments a) { return std::cosh(a[0]); }},
    {L"deg", 1, 1, [](Arguments a) { return a[0] * (180.0 / kPi); }},
    {L"exp", 1, 1, [](Arguments a) { return std::exp(a[0]); }},
    {L"floor", 1, 1, [](Arguments a) { return std::floor(a[0]); }},
    {L"hypot", 2, 2, [](Arguments a) { return std::hypot(a[0], a[1]); }},
    {L"if", 3, 3, nullptr},
    {L"ln", 1, 1, [](Arguments a) { return std::log(a[0]); }},
    {L"log10", 1, 1, [](Arguments a) { return std::log10(a[0]); }},
    {L"log2", 1, 1, [](Arguments a) { return std::log2(a[0]); }},
    {L"max", 1, kAnyNumber, largest},
    {L"min", 1, kAnyNumber, smallest},
    {L"mod", 2, 2, [](Arguments a) { return std::fmod(a[0], a[1]); }},
    {L"pow", 2, 2, [](Arguments a) { return std::pow(a[0], a[1]); }},
    {L"rad", 1, 1, [](Arguments a) { return a[0] * (kPi / 180.0); }},
    {L"round", 1, 1, [](Arguments a) { return std::round(a[0]); }},
    {L"sign", 1, 1, signOf},
    {L"sin", 1, 1, [](Arguments a) { return std::sin(a[0]); }},
    {L"sinh", 1, 1, [](Arguments a) { return std::sinh(a[0]); }},
    {L"sqrt", 1, 1, [](Arguments a) { return std::sqrt(a[0]); }},
    {L"tan", 1, 1, [](Arguments a) { return std::tan(a[0]); }},
    {L"tanh", 1, 1, [](Arguments a) { return std::tanh(a[0]); }},
    {L"trunc", 1, 1, [](Arguments a) { return std::trunc(a[0]); }},
};

struct Constant
{
    wchar_t const* name;
    double value;
};

constexpr Constant kConstants[] = {{L"e", kE}, {L"pi", kPi}};

/// What prints where a number that isn't finite was put into a text; no numbers of expressions.
constexpr wchar_t const* kReserved[] = {L"inf", L"infinity", L"nan"};

bool isReserved(OdString const& name)
{
    return std::any_of(std::begin(kReserved), std::end(kReserved),
                       [&](wchar_t const* word) { return odIcmp(name, word) == 0; });
}

Function const* findFunction(OdString const& name)
{
    Function const* const found =
        std::find_if(std::begin(kFunctions), std::end(kFunctions),
                     [&](Function const& one) { return odIcmp(name, one.name) == 0; });
    return found != std::end(kFunctions) ? found : nullptr;
}

std::optional<double> findConstant(OdString const& name)
{
    for (Constant const& constant : kConstants) {
        if (odIcmp(name, constant.name) == 0) {
            return constant.value;
        }
    }
    return std::nullopt;
}

bool isComparison(TokenKind kind)
{
    return kind >= TokenKind::kLess && kind <= TokenKind::kNotEqual;
}

}  // namespace

/// Turns tokens into steps for a stack machine, in one pass: operators wait on a stack of their own
/// until what they apply to is complete. So depth of nesting costs memory in proportion and no
/// recursion.
class Compiler
{
public:
    Compiler(Parser& parser, OdString const& text) : m_parser(parser), m_scanner(text.wide()) {}

    /// False after a failure, which the parser knows then.
    bool run()
    {
        for (;;) {
            const Token token = m_scanner.next();
            if (token.kind == TokenKind::kTooLarge) {
                return fail(token, L"number is too large");
            }
            if (token.kind == TokenKind::kUnknown) {
                return fail(token, L"unexpected sign " + OdString::fromWide(textOf(token)));
            }
            if (m_wantsOperand ? !takeOperand(token) : !takeOperator(token)) {
                return false;
            }
            if (token.kind == TokenKind::kEnd) {
                return true;
            }
        }
    }

private:
    using Op = Parser::Op;

    enum class Strength : std::uint8_t
    {
        kBracket,
        kComparison,
        kSum,
        kProduct,
        kSign,
        kPower
    };
    /// An operator whose right side, or a parenthesis whose end, is still to come.
    struct Waiting
    {
        Strength strength = Strength::kBracket;
        Op op = Op::kNumber;
        std::uint32_t column = 0;
        Function const* function = nullptr;  ///< of a parenthesis that holds arguments
        std::uint32_t arguments = 0;         ///< that are complete
        std::uint32_t jump = 0;              ///< step of `if` whose target isn't known yet
    };

    std::wstring_view textOf(Token const& token) const { return m_scanner.textOf(token); }
    static std::uint32_t columnOf(Token const& token)
    {
        return static_cast<std::uint32_t>(token.start + 1);
    }
    bool fail(Token const& token, OdString const& text) { return failAt(columnOf(token), text); }
    bool failAt(std::uint32_t column, OdString const& text)
    {
        (void)m_parser.fail(kOdInvalidInput, column, text);
        return false;
    }
    std::uint32_t here() const { return static_cast<std::uint32_t>(m_parser.m_code.size()); }
    void emit(Op op, std::uint32_t column, std::uint32_t operand = 0, double number = 0,
              std::uint8_t function = 0)
    {
        m_parser.m_code.push_back({number, operand, column, op, function});
    }

    bool takeOperand(Token const& token)
    {
        switch (token.kind) {
        case TokenKind::kNumber:
            emit(Op::kNumber, columnOf(token), 0, token.number);
            m_wantsOperand = false;
            return true;
        case TokenKind::kName:
            return takeName(token);
        case TokenKind::kOpen:
            m_waiting.push_back({Strength::kBracket, Op::kNumber, columnOf(token), nullptr, 0, 0});
            return true;
        case TokenKind::kPlus:
            return true;
        case TokenKind::kMinus:
            m_waiting.push_back({Strength::kSign, Op::kNegate, columnOf(token), nullptr, 0, 0});
            return true;
        default:
            return fail(token,
                        token.kind == TokenKind::kEnd
                            ? OdString(L"expression ends too early")
                            : L"expected a value instead of " + OdString::fromWide(textOf(token)));
        }
    }

    bool takeName(Token const& token)
    {
        const OdString name = OdString::fromWide(textOf(token));
        if (m_scanner.isCallNext()) {
            Function const* const function = findFunction(name);
            if (function == nullptr) {
                return fail(token, L"unknown function " + name);
            }
            (void)m_scanner.next();
            m_waiting.push_back({Strength::kBracket, Op::kCall, columnOf(token), function, 0, 0});
            return true;
        }
        if (isReserved(name)) {
            return fail(token, name + L" is no number");
        }
        const auto [entry, isNew] =
            m_names.try_emplace(name, static_cast<std::uint32_t>(m_parser.m_names.size()));
        if (isNew) {
            const std::optional<double> constant = findConstant(name);
            m_parser.m_names.push_back({name, static_cast<int>(columnOf(token)), constant});
            m_parser.m_variables += constant.has_value() ? 0 : 1;
        }
        emit(Op::kName, columnOf(token), entry->second);
        m_wantsOperand = false;
        return true;
    }

    bool takeOperator(Token const& token)
    {
        switch (token.kind) {
        case TokenKind::kPlus:
            return push(token, Strength::kSum, Op::kAdd);
        case TokenKind::kMinus:
            return push(token, Strength::kSum, Op::kSubtract);
        case TokenKind::kTimes:
            return push(token, Strength::kProduct, Op::kMultiply);
        case TokenKind::kDivide:
            return push(token, Strength::kProduct, Op::kDivide);
        case TokenKind::kModulo:
            return push(token, Strength::kProduct, Op::kModulo);
        case TokenKind::kPower:
            // Groups from the right: an equal one that waits goes on waiting.
            m_waiting.push_back({Strength::kPower, Op::kPower, columnOf(token), nullptr, 0, 0});
            m_wantsOperand = true;
            return true;
        case TokenKind::kComma:
            return takeComma(token);
        case TokenKind::kClose:
            return takeClose(token);
        case TokenKind::kEnd:
            return takeEnd();
        default:
            if (isComparison(token.kind)) {
                const int offset =
                    static_cast<int>(token.kind) - static_cast<int>(TokenKind::kLess);
                return push(token, Strength::kComparison,
                            static_cast<Op>(static_cast<int>(Op::kLess) + offset));
            }
            return fail(token,
                        L"expected an operator instead of " + OdString::fromWide(textOf(token)));
        }
    }

    /// Completes operators that bind at least as strongly.
    void complete(Strength strength)
    {
        while (!m_waiting.empty() && m_waiting.back().strength >= strength &&
               m_waiting.back().strength != Strength::kBracket) {
            emit(m_waiting.back().op, m_waiting.back().column);
            m_waiting.pop_back();
        }
    }

    bool push(Token const& token, Strength strength, Op op)
    {
        complete(strength);
        m_waiting.push_back({strength, op, columnOf(token), nullptr, 0, 0});
        m_wantsOperand = true;
        return true;
    }

    bool takeComma(Token const& token)
    {
        complete(Strength::kComparison);
        if (m_waiting.empty() || m_waiting.back().function == nullptr) {
            return fail(token, L"comma outside of a function's arguments");
        }
        Waiting& call = m_waiting.back();
        ++call.arguments;
        if (call.arguments >= call.function->most) {
            return failCount(call);
        }
        if (call.function->call == nullptr) {
            // After the condition a jump to the third argument; after the second one past it.
            const std::uint32_t step = here();
            emit(call.arguments == 1 ? Op::kJumpIfZero : Op::kJump, call.column);
            if (call.arguments == 2) {
                m_parser.m_code[call.jump].operand = here();
            }
            call.jump = step;
        }
        m_wantsOperand = true;
        return true;
    }

    bool takeClose(Token const& token)
    {
        complete(Strength::kComparison);
        if (m_waiting.empty()) {
            return fail(token, L"closing parenthesis without an opening one");
        }
        Waiting call = m_waiting.back();
        m_waiting.pop_back();
        if (call.function == nullptr) {
            return true;
        }
        ++call.arguments;
        if (call.arguments < call.function->least) {
            return failCount(call);
        }
        if (call.function->call == nullptr) {
            m_parser.m_code[call.jump].operand = here();
        } else {
            emit(Op::kCall, call.column, call.arguments, 0,
                 static_cast<std::uint8_t>(call.function - std::begin(kFunctions)));
        }
        return true;
    }

    bool failCount(Waiting const& call)
    {
        return failAt(call.column,
                      L"wrong number of arguments of " + OdString(call.function->name));
    }

    bool takeEnd()
    {
        complete(Strength::kComparison);
        if (!m_waiting.empty()) {
            return failAt(m_waiting.back().column, L"parenthesis is not closed");
        }
        return true;
    }

    Parser& m_parser;
    Scanner m_scanner;
    std::vector<Waiting> m_waiting;
    std::unordered_map<OdString, std::uint32_t, OdStringIHash, OdStringIEqual> m_names;
    bool m_wantsOperand = true;
};

bool isName(OdString const& text)
{
    const std::wstring_view characters = text.wide();
    return !characters.empty() && isNameStart(characters.front()) &&
           std::all_of(characters.begin(), characters.end(), isNamePart) && !isReserved(text);
}

OdString renamed(OdString const& text, OdString const& oldName, OdString const& newName)
{
    return renamed(text, Renames{{oldName, newName}}).value_or(text);
}

std::optional<OdString> renamed(OdString const& text, Renames const& names)
{
    Scanner scanner(text.wide());
    OdString result;
    std::size_t copied = 0;
    std::int64_t length = text.getLength();
    for (Token token = scanner.next(); token.kind != TokenKind::kEnd; token = scanner.next()) {
        if (token.kind == TokenKind::kUnknown) {
            break;
        }
        if (token.kind != TokenKind::kName || scanner.isCallNext()) {
            continue;
        }
        const auto found = names.find(OdString::fromWide(scanner.textOf(token)));
        if (found == names.end()) {
            continue;
        }
        length += found->second.getLength() - static_cast<std::int64_t>(token.length);
        if (result.getLength() + found->second.getLength() > kMaxLength) {
            return std::nullopt;  // what follows can only make it longer
        }
        result += OdString::fromWide(text.wide().substr(copied, token.start - copied));
        result += found->second;
        copied = token.start + token.length;
    }
    if (copied == 0) {
        return text;
    }
    if (length > kMaxLength) {
        return std::nullopt;
    }
    return result + OdString::fromWide(text.wide().substr(copied));
}

bool mentions(OdString const& text, OdString const& name)
{
    Scanner scanner(text.wide());
    for (Token token = scanner.next(); token.kind != TokenKind::kEnd; token = scanner.next()) {
        if (token.kind == TokenKind::kName && !scanner.isCallNext() &&
            odIcmp(OdString::fromWide(scanner.textOf(token)), name) == 0) {
            return true;
        }
    }
    return false;
}

OdResult Parser::fail(OdResult result, std::uint32_t column, OdString const& text)
{
    m_errorColumn = static_cast<int>(column);
    m_errorText = text;
    return result;
}

OdString Parser::errorText() const
{
    if (m_errorText.isEmpty() || m_errorColumn == 0) {
        return m_errorText;
    }
    OdString text;
    text.format(L"column %d: %ls", m_errorColumn, m_errorText.c_str());
    return text;
}

OdResult Parser::setExpression(OdString const& text)
{
    *this = Parser();
    if (text.getLength() > kMaxLength) {
        return fail(kOdInvalidInput, kMaxLength + 1, L"expression is too long");
    }
    if (Compiler(*this, text).run()) {
        m_isParsed = true;
        return kOdOk;
    }
    m_code = {};
    m_names.clear();
    m_variables = 0;
    return kOdInvalidInput;
}

OdDbEvalVariantPtr Parser::evaluate()
{
    double value = 0;
    if (!isConstExpression() || evaluate({}, value) != kOdOk) {
        return OdDbEvalVariantPtr();
    }
    return OdDbEvalVariant::create(value);
}

double Parser::apply(Instruction const& step, double left, double right)
{
    switch (step.op) {
    case Op::kAdd:
        return left + right;
    case Op::kSubtract:
        return left - right;
    case Op::kMultiply:
        return left * right;
    case Op::kDivide:
        return right == 0 ? std::numeric_limits<double>::quiet_NaN() : left / right;
    case Op::kModulo:
        return std::fmod(left, right);
    case Op::kPower:
        return std::pow(left, right);
    case Op::kLess:
        return left < right ? 1 : 0;
    case Op::kLessEqual:
        return left <= right ? 1 : 0;
    case Op::kGreater:
        return left > right ? 1 : 0;
    case Op::kGreaterEqual:
        return left >= right ? 1 : 0;
    case Op::kEqual:
        return left == right ? 1 : 0;
    default:
        return left != right ? 1 : 0;
    }
}

OdResult Parser::failOperation(Instruction const& step, double right)
{
    if ((step.op == Op::kDivide || step.op == Op::kModulo) && right == 0) {
        return fail(kOdInvalidInput, step.column, L"division by zero");
    }
    return fail(kOdInvalidInput, step.column, L"result is not a finite number");
}

OdResult Parser::evaluate(std::span<std::optional<double> const> values, double& result)
{
    m_errorText.empty();
    m_errorColumn = 0;
    if (!m_isParsed) {
        return fail(kOdInvalidInput, 0, L"no expression");
    }
    std::vector<double>& stack = m_stack;
    stack.clear();
    for (std::size_t at = 0; at < m_code.size(); ++at) {
        Instruction const& step = m_code[at];
        switch (step.op) {
        case Op::kNumber:
            stack.push_back(step.number);
            break;
        case Op::kName: {
            Name const& name = m_names[step.operand];
            const std::optional<double> value =
                step.operand < values.size() && values[step.operand].has_value()
                    ? values[step.operand]
                    : name.constant;
            if (!value.has_value()) {
                return fail(kOdNoSuchVariable, step.column, L"unknown name " + name.text);
            }
            if (!std::isfinite(*value)) {
                return failOperation(step, 0);
            }
            stack.push_back(*value);
            break;
        }
        case Op::kNegate:
            stack.back() = -stack.back();
            break;
        case Op::kCall: {
            const std::size_t first = stack.size() - step.operand;
            const double value = kFunctions[step.function].call(Arguments(stack).subspan(first));
            stack.resize(first);
            stack.push_back(value);
            if (!std::isfinite(value)) {
                return failOperation(step, 1);
            }
            break;
        }
        case Op::kJumpIfZero:
            at = stack.back() == 0 ? step.operand - 1 : at;
            stack.pop_back();
            break;
        case Op::kJump:
            at = step.operand - 1;
            break;
        default: {
            const double right = stack.back();
            stack.pop_back();
            stack.back() = apply(step, stack.back(), right);
            if (!std::isfinite(stack.back())) {
                return failOperation(step, right);
            }
        }
        }
    }
    result = stack.back();
    return kOdOk;
}

}  // namespace OdExpression
