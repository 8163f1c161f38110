#include "Formula.h"

#include <cctype>
#include <charconv>
#include <cmath>

#include "ResultSet.h"

namespace kvtables {

std::string FormulaRef::Describe() const
{
    switch (kind) {
    case Kind::Number: {
        char buf[32];
        auto res = std::to_chars(buf, buf + sizeof buf, number);
        return std::string(buf, res.ptr);
    }
    case Kind::Text: return "'" + text + "'";
    case Kind::Total: return "total";
    case Kind::Subtotal: return "subtotal '" + text + "'";
    }
    return {};
}

// Recursive descent over
//   sum     = product { ("+" | "-") product }
//   product = unary { ("*" | "/") unary }
//   unary   = "-" unary | primary
//   primary = number | "(" sum ")" | "[" reference "]"
class FormulaParser {
public:
    explicit FormulaParser(Formula& f) : _f(f), _s(f._text) {}

    void Run()
    {
        Skip();
        if (_at == _s.size()) Fail("is empty");
        Sum();
        if (_at != _s.size()) Fail("expected an operator");
    }

private:
    [[noreturn]] void Fail(const std::string& what) const
    {
        if (_at >= _s.size()) throw Formula::SyntaxError(what + " at the end");
        throw Formula::SyntaxError(what + " at character " + std::to_string(_at + 1));
    }
    void Skip()
    {
        while (_at < _s.size() && (_s[_at] == ' ' || _s[_at] == '\t')) ++_at;
    }
    bool Take(char c)
    {
        if (_at >= _s.size() || _s[_at] != c) return false;
        ++_at;
        Skip();
        return true;
    }
    int Add(Formula::Node n)
    {
        _f._nodes.push_back(n);
        return static_cast<int>(_f._nodes.size()) - 1;
    }

    // A left-associative chain of `next` joined by the two operators given.
    int Chain(char op1, char op2, int (FormulaParser::*next)())
    {
        int left = (this->*next)();
        for (;;) {
            const char op = _at < _s.size() ? _s[_at] : '\0';
            if (op != op1 && op != op2) return left;
            Take(op);
            const int right = (this->*next)();
            left = Add({op, 0.0, -1, left, right});
        }
    }
    int Sum() { return Chain('+', '-', &FormulaParser::Product); }
    int Product() { return Chain('*', '/', &FormulaParser::Unary); }
    int Unary()
    {
        // A request is no place for formulas nested a thousand deep; the
        // limit keeps the recursion far from the stack's end.
        if (++_depth > 200) Fail("nested too deeply");
        const int node = Take('-') ? Add({'~', 0.0, -1, Unary(), -1}) : Primary();
        --_depth;
        return node;
    }
    int Primary()
    {
        if (Take('(')) {
            const int inner = Sum();
            if (!Take(')')) Fail("expected ')'");
            return inner;
        }
        if (Take('[')) {
            const int ref = Reference();
            if (!Take(']')) Fail("expected ']'");
            return Add({'r', 0.0, ref, -1, -1});
        }
        if (_at < _s.size() && (std::isdigit(static_cast<unsigned char>(_s[_at])) || _s[_at] == '.'))
            return Add({'n', Number(), -1, -1, -1});
        Fail("expected a number, '(' or '['");
    }

    double Number()
    {
        double v = 0.0;
        auto res = std::from_chars(_s.data() + _at, _s.data() + _s.size(), v, std::chars_format::general);
        if (res.ec != std::errc() || !std::isfinite(v)) Fail("expected a number");
        _at = static_cast<size_t>(res.ptr - _s.data());
        Skip();
        return v;
    }
    std::string Quoted()
    {
        const char quote = _at < _s.size() ? _s[_at] : '\0';
        if (quote != '\'' && quote != '"') Fail("expected a quoted text");
        const size_t end = _s.find(quote, _at + 1);
        if (end == std::string::npos) Fail("unterminated text");
        std::string text = _s.substr(_at + 1, end - _at - 1);
        _at = end + 1;
        Skip();
        return text;
    }
    bool Word(const char* word)
    {
        const std::string w(word);
        if (_s.compare(_at, w.size(), w) != 0) return false;
        const size_t next = _at + w.size();
        if (next < _s.size() && std::isalnum(static_cast<unsigned char>(_s[next]))) return false;
        _at = next;
        Skip();
        return true;
    }
    // The index of the reference in the formula's list, added when new.
    int Reference()
    {
        FormulaRef r;
        if (Word("total")) {
            r.kind = FormulaRef::Kind::Total;
        } else if (Word("subtotal")) {
            r.kind = FormulaRef::Kind::Subtotal;
            r.text = Quoted();
        } else if (_at < _s.size() && (_s[_at] == '\'' || _s[_at] == '"')) {
            r.kind = FormulaRef::Kind::Text;
            r.text = Quoted();
        } else {
            const bool negative = Take('-');
            if (_at >= _s.size() || !(std::isdigit(static_cast<unsigned char>(_s[_at])) || _s[_at] == '.'))
                Fail("expected a value, a quoted text, total or subtotal");
            r.number = negative ? -Number() : Number();
        }
        std::vector<FormulaRef>& refs = _f._refs;
        for (size_t i = 0; i < refs.size(); ++i)
            if (refs[i].kind == r.kind && refs[i].number == r.number && refs[i].text == r.text) return static_cast<int>(i);
        refs.push_back(r);
        return static_cast<int>(refs.size()) - 1;
    }

    Formula& _f;
    const std::string& _s;
    size_t _at = 0;
    int _depth = 0;
};

Formula Formula::Parse(const std::string& text)
{
    Formula f;
    f._text = text;
    FormulaParser(f).Run();
    return f;
}

double Formula::Evaluate(const std::vector<double>& operands) const
{
    // An empty formula never parses.
    return Eval(static_cast<int>(_nodes.size()) - 1, operands);
}

double Formula::Eval(int node, const std::vector<double>& operands) const
{
    const Node& n = _nodes[static_cast<size_t>(node)];
    if (n.op == 'n') return n.number;
    if (n.op == 'r') return operands[static_cast<size_t>(n.ref)];
    const double a = Eval(n.left, operands);
    if (IsMissingValue(a)) return SystemMissing();
    if (n.op == '~') return -a;
    const double b = Eval(n.right, operands);
    if (IsMissingValue(b)) return SystemMissing();
    double r = 0.0;
    switch (n.op) {
    case '+': r = a + b; break;
    case '-': r = a - b; break;
    case '*': r = a * b; break;
    default:
        if (b == 0.0) return SystemMissing();
        r = a / b;
        break;
    }
    // Beyond the range of numbers is no answer either.
    return std::isfinite(r) ? r : SystemMissing();
}

}  // namespace kvtables
