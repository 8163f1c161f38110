// The formula of a computed category: numbers, + - * /, unary minus,
// parentheses, and references in brackets to other categories of the same
// list: [3] a numeric value, ['M'] a string value (or a dichotomy set's
// member), [total] the variable's total, [subtotal 'Low'] a subtotal by its
// label. A computed cell is its formula over the same statistic of the
// referenced cells; a missing operand or a division by zero makes it missing.
#ifndef KVTABLES_FORMULA_H
#define KVTABLES_FORMULA_H

#include <stdexcept>
#include <string>
#include <vector>

namespace kvtables {

struct FormulaRef {
    enum class Kind { Number, Text, Total, Subtotal };
    Kind kind = Kind::Number;
    double number = 0.0;
    std::string text;  // a string value, a member's name or a subtotal's label

    // As written in a formula: 3, 'M', total, subtotal 'Low'.
    std::string Describe() const;
};

class Formula {
public:
    // A mistake in the formula's text; `what` says what and at which character.
    struct SyntaxError : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    Formula() = default;
    // Throws SyntaxError.
    static Formula Parse(const std::string& text);

    const std::string& Text() const { return _text; }
    // Each distinct reference once, in order of first appearance.
    const std::vector<FormulaRef>& References() const { return _refs; }
    // `operands` holds one value per reference, system-missing where there is none.
    double Evaluate(const std::vector<double>& operands) const;

private:
    friend class FormulaParser;
    struct Node {
        char op = 'n';  // 'n' number, 'r' reference, '~' negation, or + - * /
        double number = 0.0;
        int ref = -1;
        int left = -1, right = -1;
    };
    double Eval(int node, const std::vector<double>& operands) const;

    std::string _text;
    std::vector<FormulaRef> _refs;
    std::vector<Node> _nodes;  // children before their parents; the root last
};

}  // namespace kvtables

#endif
