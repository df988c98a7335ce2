// Parses any text as an expression, evaluates it, and renames what it mentions.
//
// Input: UTF-8 text. Whatever it is, parsing comes to an end with a column inside of the text or with
// an expression, whose value is finite or missing; a text whose name is replaced and put back means
// the same.

#include "assoc/od_expression.h"
#include "assoc/od_platform.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

struct Outcome
{
    OdResult parsed;
    OdResult evaluated;
    double value;

    friend bool operator==(Outcome const&, Outcome const&) = default;
};

Outcome evaluate(OdString const& text)
{
    OdExpression::Parser parser;
    Outcome outcome{parser.setExpression(text), kOdOk, 0};
    if (outcome.parsed != kOdOk) {
        require(parser.errorColumn() >= 1 && parser.errorColumn() <= text.getLength() + 1);
        require(!parser.errorText().isEmpty() && !parser.isConstExpression());
        return outcome;
    }
    std::vector<std::optional<double>> values;
    for (OdExpression::Name const& name : parser.names()) {
        require(OdExpression::isName(name.text) && OdExpression::mentions(text, name.text));
        values.emplace_back(static_cast<double>(values.size()) - 1.5);
    }
    outcome.evaluated = parser.evaluate(values, outcome.value);
    require(outcome.evaluated != kOdOk || std::isfinite(outcome.value));
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const OdPlatform s_platform;
    const OdString text =
        OdString::fromUtf8(std::string_view(reinterpret_cast<char const*>(data), size));
    const Outcome outcome = evaluate(text);
    OdExpression::Parser parser;
    if (parser.setExpression(text) == kOdOk && !parser.names().empty()) {
        const OdString name = parser.names()[0].text;
        constexpr wchar_t kFresh[] = L"a_name_that_no_seed_has";
        if (!OdExpression::mentions(text, kFresh)) {
            const OdString renamed = OdExpression::renamed(text, name, kFresh);
            require(!OdExpression::mentions(renamed, name));
            require(evaluate(renamed) == outcome);
            require(evaluate(OdExpression::renamed(renamed, kFresh, name)) == outcome);
        }
    }
    return 0;
}
