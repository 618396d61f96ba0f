// The plural rule of a dictionary: which of a message's translated forms goes with a count.
//
// A dictionary states its rule in the "Plural-Forms:" line of its header as a C expression in n
// ("nplurals=3; plural=(n==1 ? 0 : n%10>=2 && n%10<=4 && (n%100<10 || n%100>=20) ? 1 : 2);").
// The expression is parsed once into a small tree and evaluated per count; it is only ever
// evaluated, never executed. Integer constants, n, parentheses, `! * / % + - < <= > >= == !=
// && || ?:` with C's precedence, and nothing else. Nesting and tree depth are bounded, so a
// hostile rule costs neither stack nor time; a rule that does not parse, or that divides by
// zero for a count, gives the English answer (n != 1) instead. A plain value, read-only after
// parsing.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vlt::detail {

class trPluralRule {
public:
    // The English rule.
    trPluralRule() = default;
    // The rule named in a dictionary's header text; the English rule when there is none or it
    // is malformed.
    static trPluralRule FromHeader(std::string_view header);

    // The index of the form for n (not checked against the dictionary's form count).
    uint64_t FormIndex(uint64_t n) const;

    // Deeper rules are refused: real ones nest a few levels.
    static constexpr int depthLimit = 40;

private:
    enum class Op : uint8_t {
        Number,
        N,
        Not,
        Multiply,
        Divide,
        Modulo,
        Add,
        Subtract,
        Less,
        LessEqual,
        Greater,
        GreaterEqual,
        Equal,
        NotEqual,
        And,
        Or,
        Choose,
    };
    struct Node {
        Op op;
        uint64_t value;
        int32_t operand[3];
    };
    class Parser;

    bool Evaluate(int32_t node, uint64_t n, uint64_t& result) const;

    std::vector<Node> nodes; // the root is the last node
};

} // namespace vlt::detail
