#include "utl_trPluralRule.h"

#include <algorithm>
#include <optional>

namespace vlt::detail {
namespace {

constexpr std::string_view headerField = "Plural-Forms:";

// The value of the "Plural-Forms:" line, up to its end; empty when the header has none.
std::string_view PluralFormsLine(std::string_view header) {
    std::size_t at = 0;
    while ((at = header.find(headerField, at)) != std::string_view::npos) {
        if (at == 0 || header[at - 1] == '\n') {
            const std::string_view rest = header.substr(at + headerField.size());
            return rest.substr(0, rest.find('\n'));
        }
        at += headerField.size();
    }
    return {};
}

bool IsWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// The text after "<key>=" where key stands as a word of its own ("plural" is also the end of
// "nplurals"), up to the next ';'.
std::optional<std::string_view> Setting(std::string_view line, std::string_view key) {
    std::size_t at = 0;
    while ((at = line.find(key, at)) != std::string_view::npos) {
        const std::size_t end = at + key.size();
        std::size_t value = end;
        while (value < line.size() && line[value] == ' ') {
            ++value;
        }
        if ((at == 0 || !IsWordCharacter(line[at - 1])) && value < line.size() &&
            line[value] == '=') {
            const std::string_view rest = line.substr(value + 1);
            return rest.substr(0, rest.find(';'));
        }
        at = end;
    }
    return std::nullopt;
}

} // namespace

// Recursive descent over C's precedence levels. Every level that recurses counts against the
// nesting limit, and every node records its depth, so that evaluation recurses no deeper.
class trPluralRule::Parser {
public:
    explicit Parser(std::string_view text) : text(text) {}

    // False when the text is not one whole expression within the limits.
    bool Parse(std::vector<Node>& into) {
        const int32_t root = Conditional();
        Skip();
        if (root < 0 || at != text.size()) {
            return false;
        }
        into = std::move(nodes);
        return true;
    }

private:
    static constexpr int32_t failed = -1;

    void Skip() {
        while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) {
            ++at;
        }
    }

    bool Take(std::string_view token) {
        Skip();
        if (text.substr(at, token.size()) != token) {
            return false;
        }
        at += token.size();
        return true;
    }

    // Logical not, but not the start of "!=".
    bool TakeNot() {
        Skip();
        return text.substr(at, 2) != "!=" && Take("!");
    }

    int32_t Make(Op op, uint64_t value, int32_t a = failed, int32_t b = failed,
                 int32_t c = failed) {
        int depth = 0;
        for (const int32_t child : {a, b, c}) {
            if (child >= 0) {
                depth = std::max(depth, depths[static_cast<std::size_t>(child)]);
            }
        }
        if (depth + 1 > depthLimit) {
            return failed;
        }
        nodes.push_back({op, value, {a, b, c}});
        depths.push_back(depth + 1);
        return static_cast<int32_t>(nodes.size() - 1);
    }

    // Enters a level that may recurse; false past the nesting limit.
    bool Enter() { return ++nesting <= depthLimit; }

    int32_t Conditional() {
        if (!Enter()) {
            return failed;
        }
        int32_t result = Or();
        if (result >= 0 && Take("?")) {
            const int32_t chosen = Conditional();
            const int32_t otherwise = chosen >= 0 && Take(":") ? Conditional() : failed;
            result = otherwise >= 0 ? Make(Op::Choose, 0, result, chosen, otherwise) : failed;
        }
        --nesting;
        return result;
    }

    // One left-associative level: operands from `next`, operators from `match`.
    template <class Next, class Match>
    int32_t Binary(Next next, Match match) {
        int32_t left = (this->*next)();
        Op op{};
        while (left >= 0 && match(op)) {
            const int32_t right = (this->*next)();
            left = right >= 0 ? Make(op, 0, left, right) : failed;
        }
        return left;
    }

    int32_t Or() {
        return Binary(&Parser::And, [this](Op& op) {
            op = Op::Or;
            return Take("||");
        });
    }

    int32_t And() {
        return Binary(&Parser::Equality, [this](Op& op) {
            op = Op::And;
            return Take("&&");
        });
    }

    int32_t Equality() {
        return Binary(&Parser::Relation, [this](Op& op) {
            op = Take("==") ? Op::Equal : Take("!=") ? Op::NotEqual : Op::Number;
            return op != Op::Number;
        });
    }

    int32_t Relation() {
        return Binary(&Parser::Sum, [this](Op& op) {
            op = Take("<=")   ? Op::LessEqual
                 : Take(">=") ? Op::GreaterEqual
                 : Take("<")  ? Op::Less
                 : Take(">")  ? Op::Greater
                              : Op::Number;
            return op != Op::Number;
        });
    }

    int32_t Sum() {
        return Binary(&Parser::Product, [this](Op& op) {
            op = Take("+") ? Op::Add : Take("-") ? Op::Subtract : Op::Number;
            return op != Op::Number;
        });
    }

    int32_t Product() {
        return Binary(&Parser::Unary, [this](Op& op) {
            op = Take("*")   ? Op::Multiply
                 : Take("/") ? Op::Divide
                 : Take("%") ? Op::Modulo
                             : Op::Number;
            return op != Op::Number;
        });
    }

    int32_t Unary() {
        if (!Enter()) {
            return failed;
        }
        int32_t result = failed;
        if (TakeNot()) {
            const int32_t operand = Unary();
            result = operand >= 0 ? Make(Op::Not, 0, operand) : failed;
        } else {
            result = Primary();
        }
        --nesting;
        return result;
    }

    int32_t Primary() {
        if (Take("(")) {
            const int32_t inner = Conditional();
            return inner >= 0 && Take(")") ? inner : failed;
        }
        if (Take("n")) {
            return Make(Op::N, 0);
        }
        return Number();
    }

    int32_t Number() {
        Skip();
        const std::size_t start = at;
        uint64_t value = 0;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
            const uint64_t digit = static_cast<uint64_t>(text[at] - '0');
            if (value > (UINT64_MAX - digit) / 10) {
                return failed;
            }
            value = value * 10 + digit;
            ++at;
        }
        return at > start ? Make(Op::Number, value) : failed;
    }

    std::string_view text;
    std::size_t at = 0;
    int nesting = 0;
    std::vector<Node> nodes;
    std::vector<int> depths;
};

trPluralRule trPluralRule::FromHeader(std::string_view header) {
    const std::string_view line = PluralFormsLine(header);
    const std::optional<std::string_view> forms = Setting(line, "nplurals");
    const std::optional<std::string_view> expression = Setting(line, "plural");
    trPluralRule rule;
    if (!forms || !expression) {
        return rule;
    }
    // The form count is checked as a number but not kept: a message's own forms bound the index.
    std::vector<Node> count;
    if (!Parser(*forms).Parse(count) || count.size() != 1 || count[0].op != Op::Number ||
        count[0].value == 0) {
        return rule;
    }
    std::vector<Node> parsed;
    if (Parser(*expression).Parse(parsed)) {
        rule.nodes = std::move(parsed);
    }
    return rule;
}

uint64_t trPluralRule::FormIndex(uint64_t n) const {
    uint64_t index = 0;
    if (nodes.empty() || !Evaluate(static_cast<int32_t>(nodes.size() - 1), n, index)) {
        return n != 1 ? 1 : 0;
    }
    return index;
}

// False on a division by zero. The recursion is as deep as the tree, which parsing bounds.
bool trPluralRule::Evaluate(int32_t at, uint64_t n, uint64_t& result) const {
    const Node& node = nodes[static_cast<std::size_t>(at)];
    uint64_t a = 0;
    uint64_t b = 0;
    switch (node.op) {
    case Op::Number:
        result = node.value;
        return true;
    case Op::N:
        result = n;
        return true;
    case Op::Not:
        if (!Evaluate(node.operand[0], n, a)) {
            return false;
        }
        result = a == 0 ? 1 : 0;
        return true;
    case Op::Choose:
        return Evaluate(node.operand[0], n, a) && Evaluate(node.operand[a != 0 ? 1 : 2], n, result);
    case Op::And:
    case Op::Or:
        // Short-circuit as C does: the right side may divide by zero where the left rules it out.
        if (!Evaluate(node.operand[0], n, a)) {
            return false;
        }
        if ((node.op == Op::And) == (a == 0)) {
            result = a != 0 ? 1 : 0;
            return true;
        }
        if (!Evaluate(node.operand[1], n, b)) {
            return false;
        }
        result = b != 0 ? 1 : 0;
        return true;
    default:
        break;
    }
    if (!Evaluate(node.operand[0], n, a) || !Evaluate(node.operand[1], n, b)) {
        return false;
    }
    switch (node.op) {
    case Op::Multiply:
        result = a * b;
        return true;
    case Op::Divide:
    case Op::Modulo:
        if (b == 0) {
            return false;
        }
        result = node.op == Op::Divide ? a / b : a % b;
        return true;
    case Op::Add:
        result = a + b;
        return true;
    case Op::Subtract:
        result = a - b;
        return true;
    case Op::Less:
        result = a < b;
        return true;
    case Op::LessEqual:
        result = a <= b;
        return true;
    case Op::Greater:
        result = a > b;
        return true;
    case Op::GreaterEqual:
        result = a >= b;
        return true;
    case Op::Equal:
        result = a == b;
        return true;
    default:
        result = a != b;
        return true;
    }
}

} // namespace vlt::detail
