// Expressions: texts such as "2*width + sin(angle)", parsed once and evaluated with values of names.

#pragma once

#include "assoc/od_db_eval_variant.h"

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

namespace OdExpression {

/// Longest text that is parsed, in characters. Depth is bounded by it alone: nothing recurses.
constexpr int kMaxLength = 4 * 1024 * 1024;

/// Whether a text can name a variable in expressions: a letter of any script or an underscore, then
/// letters, marks, digits and underscores. "inf", "infinity" and "nan" are no names, in any case.
bool isName(OdString const& text);
/// The text with every mention of a name replaced; what only contains the name stays. Names compare
/// without case, and names of functions are another matter: `sin(sin)` mentions one name.
/// A text that holds a sign which expressions don't know is changed up to there.
/// A text that would become longer than any that is parsed stays as it is.
OdString renamed(OdString const& text, OdString const& oldName, OdString const& newName);
/// New names by old ones.
using Renames = std::unordered_map<OdString, OdString, OdStringIHash, OdStringIEqual>;
/// The same for several names at once, so that one may get a name that another one loses.
/// \return Nothing for a text that would become longer than any that is parsed.
std::optional<OdString> renamed(OdString const& text, Renames const& names);
/// Whether a text mentions a name, as `renamed` understands it.
bool mentions(OdString const& text, OdString const& name);

/// A name that an expression mentions.
struct Name
{
    OdString text;                   ///< as it is written where it comes first
    int column = 0;                  ///< of that mention, from 1
    std::optional<double> constant;  ///< what it stands for where no variable has the name
};

/// One parsed expression. A value that may be copied; used on one thread at a time.
///
/// From weakest to strongest: comparisons (`< <= > >= = == != <>`, giving 1 or 0), `+ -`, `* / %`,
/// signs, `^`, which groups from the right; all others group from the left. Numbers have a decimal
/// point in every locale. Functions are listed in docs/expressions.md; angles are radians.
/// Every intermediate result has to be a finite number.
class Parser
{
public:
    /// Parses a text. After a failure the parser is as it was when new, but for the error.
    /// \return 0, or (bad input), which `errorText` and `errorColumn` tell more of.
    OdResult setExpression(OdString const& text);

    /// Whether an expression is there that mentions no name but those of constants.
    bool isConstExpression() const noexcept { return m_isParsed && m_variables == 0; }
    /// The names that the expression mentions, each once, in order of first mention.
    std::vector<Name> const& names() const noexcept { return m_names; }

    /// The value of a constant expression, a double; null if there is none.
    OdDbEvalVariantPtr evaluate();
    /// Computes the value.
    /// \param values  Of `names()`, by position; without a value a constant is taken.
    /// \param result  Set on success only.
    /// \return 0; (no such variable) for a name without value; (bad input) for a division by zero,
    ///         an argument that a function is not defined for, or an overflow, and without
    ///         expression.
    OdResult evaluate(std::span<std::optional<double> const> values, double& result);

    /// What the last failure was, with its column; empty after a success.
    OdString errorText() const;
    /// Where it was: a position in the text in characters, from 1; 0 if there was none.
    int errorColumn() const noexcept { return m_errorColumn; }
    /// Steps of one evaluation, a measure of the memory taken.
    std::size_t size() const noexcept { return m_code.size(); }

private:
    friend class Compiler;

    enum class Op : std::uint8_t
    {
        kNumber,
        kName,
        kNegate,
        kAdd,
        kSubtract,
        kMultiply,
        kDivide,
        kModulo,
        kPower,
        kLess,
        kLessEqual,
        kGreater,
        kGreaterEqual,
        kEqual,
        kNotEqual,
        kCall,
        kJumpIfZero,
        kJump
    };
    struct Instruction
    {
        double number = 0;          ///< of kNumber
        std::uint32_t operand = 0;  ///< name, count of arguments, or where a jump leads
        std::uint32_t column = 0;
        Op op = Op::kNumber;
        std::uint8_t function = 0;  ///< of kCall
    };

    OdResult fail(OdResult result, std::uint32_t column, OdString const& text);
    static double apply(Instruction const& step, double left, double right);
    OdResult failOperation(Instruction const& step, double right);

    std::vector<Instruction> m_code;
    std::vector<Name> m_names;
    std::vector<double> m_stack;
    std::size_t m_variables = 0;  ///< names that are no constants
    OdString m_errorText;
    int m_errorColumn = 0;
    bool m_isParsed = false;
};

}  // namespace OdExpression
