#include "data/sqlite/TsqlAdapter.h"

#include <cctype>
#include <cstdlib>
#include <set>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"

namespace data::sqlite {

namespace {

using common::Value;

enum class Tok { Space, Comment, Ident, Quoted, String, Number, Param, Variable, Op, LParen, RParen, Comma };

struct Token {
    Tok kind;
    std::string text;
};

[[noreturn]] void unsupported(const std::string& what) {
    common::raise(common::err::Database, kErrorSource, what + " is not supported by the embedded database.");
}

bool identStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || c == '#'; }
bool identChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '#' || c == '$';
}

// Past the quote that closes the literal opened at q ('' stands for one quote inside).
size_t literalEnd(std::string_view s, size_t q) {
    for (size_t i = q + 1; i < s.size(); ++i) {
        if (s[i] != '\'') continue;
        if (i + 1 < s.size() && s[i + 1] == '\'') {
            ++i;
            continue;
        }
        return i + 1;
    }
    common::raise(common::err::Database, kErrorSource, "Unclosed quotation mark in the statement.");
}

// Past the digits, the decimal point and an exponent that has digits.
size_t numberEnd(std::string_view s, size_t i) {
    while (i < s.size() && (common::IsDigit(s[i]) || s[i] == '.')) ++i;
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        size_t j = i + 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) ++j;
        if (j < s.size() && common::IsDigit(s[j])) {
            i = j;
            while (i < s.size() && common::IsDigit(s[i])) ++i;
        }
    }
    return i;
}

std::vector<Token> tokenize(std::string_view s) {
    std::vector<Token> out;
    size_t i = 0;
    auto push = [&](Tok k, size_t from, size_t to) {
        out.push_back({k, std::string(s.substr(from, to - from))});
    };
    while (i < s.size()) {
        char c = s[i];
        size_t st = i;
        if (std::isspace(static_cast<unsigned char>(c))) {
            while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
            push(Tok::Space, st, i);
        } else if (c == '-' && i + 1 < s.size() && s[i + 1] == '-') {
            while (i < s.size() && s[i] != '\n') ++i;
            push(Tok::Comment, st, i);
        } else if (c == '/' && i + 1 < s.size() && s[i + 1] == '*') {
            auto e = s.find("*/", i + 2);
            i = e == std::string_view::npos ? s.size() : e + 2;
            push(Tok::Comment, st, i);
        } else if (c == '\'' || ((c == 'N' || c == 'n') && i + 1 < s.size() && s[i + 1] == '\'')) {
            // N'...' is a Unicode literal on the server; SQLite's literals already are.
            size_t q = c == '\'' ? i : i + 1;
            i = literalEnd(s, q);
            push(Tok::String, q, i);
        } else if (c == '[' || c == '"' || c == '`') {
            char close = c == '[' ? ']' : c;
            auto e = s.find(close, i + 1);
            i = e == std::string_view::npos ? s.size() : e + 1;
            push(Tok::Quoted, st, i);
        } else if (identStart(c)) {
            while (i < s.size() && identChar(s[i])) ++i;
            push(Tok::Ident, st, i);
        } else if (common::IsDigit(c) || (c == '.' && i + 1 < s.size() && common::IsDigit(s[i + 1]))) {
            i = numberEnd(s, i);
            push(Tok::Number, st, i);
        } else if (c == '?') {
            ++i;
            while (i < s.size() && common::IsDigit(s[i])) ++i;
            push(Tok::Param, st, i);
        } else if (c == '@' || c == ':' || c == '$') {
            ++i;
            while (i < s.size() && (identChar(s[i]) || s[i] == '@')) ++i;
            push(i - st > 1 ? Tok::Variable : Tok::Op, st, i);
        } else if (c == '(') {
            push(Tok::LParen, i, i + 1), ++i;
        } else if (c == ')') {
            push(Tok::RParen, i, i + 1), ++i;
        } else if (c == ',') {
            push(Tok::Comma, i, i + 1), ++i;
        } else {
            static const char* two[] = {"<=", ">=", "<>", "!=", "*=", "=*",
                                        "==", "||", "<<", ">>", "!<", "!>"};
            size_t n = 1;
            for (const char* t : two)
                if (s.substr(i, 2) == t) n = 2;
            push(Tok::Op, i, i + n);
            i += n;
        }
    }
    return out;
}

std::string lower(std::string_view s) { return common::LCase(s); }

bool isKeyword(const Token& t, const char* kw) { return t.kind == Tok::Ident && lower(t.text) == kw; }

bool isComparison(const Token& t) {
    if (t.kind != Tok::Op) return false;
    static const std::set<std::string> ops = {"=", "==", "<>", "!=", "<", ">", "<=", ">=", "!<", "!>"};
    return ops.count(t.text) > 0;
}

// Column name of an identifier token: brackets and quotes removed, lower case.
std::string columnName(const Token& t) {
    std::string s = t.text;
    if (t.kind == Tok::Quoted && s.size() >= 2) s = s.substr(1, s.size() - 2);
    return lower(s);
}

std::string literalText(const Token& t) {
    std::string inner = t.text.substr(1, t.text.size() - 2);
    std::string out;
    for (size_t i = 0; i < inner.size(); ++i) {
        out += inner[i];
        if (inner[i] == '\'' && i + 1 < inner.size() && inner[i + 1] == '\'') ++i;
    }
    return out;
}

class Rewriter {
public:
    Rewriter(std::vector<Token>& toks, const std::function<bool(const std::string&)>& isDate)
        : t_(toks), isDate_(isDate) {
        for (size_t i = 0; i < t_.size(); ++i)
            if (t_[i].kind != Tok::Space && t_[i].kind != Tok::Comment) sig_.push_back(i);
    }

    AdaptedStatement run() {
        AdaptedStatement a;
        if (sig_.empty()) return a;
        const std::string first = lower(t_[sig_[0]].text);
        if (t_[sig_[0]].kind == Tok::Ident && (first == "exec" || first == "execute")) return parseExec();
        a.changesSchema = first == "create" || first == "drop" || first == "alter";
        rewriteFunctions();
        markInsertColumns();
        const bool ddl = a.changesSchema || first == "pragma";
        for (size_t k = 0; k < sig_.size(); ++k) {
            Token& tok = t_[sig_[k]];
            if (tok.kind == Tok::Param) {
                a.dateParams.push_back(meetsDateColumn(k));
            } else if (tok.kind == Tok::String) {
                auto d = common::parseDate(literalText(tok));
                if (d && meetsDateColumn(k)) {
                    tok.text = "'" + common::isoDate(*d) + "'";
                } else if (!ddl && comparedWithExpression(k)) {
                    // The server compares text without regard to case also where one side is
                    // an expression (substring(TransNo,1,1)='x'), which SQLite compares binary.
                    tok.text += " COLLATE NOCASE";
                }
            }
        }
        for (const Token& tok : t_) a.sql += tok.text;
        return a;
    }

private:
    const Token& at(size_t k) const { return t_[sig_[k]]; }
    bool has(size_t k) const { return k < sig_.size(); }

    // Index (into sig_) of the parenthesis that matches the one at k, going forward or back.
    size_t matchForward(size_t k) const {
        int depth = 0;
        for (size_t j = k; j < sig_.size(); ++j) {
            if (at(j).kind == Tok::LParen) ++depth;
            if (at(j).kind == Tok::RParen && --depth == 0) return j;
        }
        common::raise(common::err::Database, kErrorSource, "Incorrect syntax: a parenthesis is not closed.");
    }
    long matchBackward(size_t k) const {
        int depth = 0;
        for (long j = static_cast<long>(k); j >= 0; --j) {
            if (at(static_cast<size_t>(j)).kind == Tok::RParen) ++depth;
            if (at(static_cast<size_t>(j)).kind == Tok::LParen && --depth == 0) return j;
        }
        return -1;
    }

    // Whether the literal at k is compared with an expression rather than a plain column (a
    // column brings its own collation, and keeps its index usable).
    bool comparedWithExpression(size_t k) const {
        auto column = [&](size_t j) {
            return (at(j).kind == Tok::Ident || at(j).kind == Tok::Quoted) &&
                   !(has(j + 1) && at(j + 1).kind == Tok::LParen);
        };
        if (k >= 2 && isComparison(at(k - 1))) return !column(k - 2);
        if (has(k + 2) && isComparison(at(k + 1))) return !column(k + 2);
        return false;
    }

    bool identIsDate(const Token& tok) const {
        return (tok.kind == Tok::Ident || tok.kind == Tok::Quoted) && isDate_(columnName(tok));
    }

    bool rangeHasDateColumn(size_t from, size_t to) const {
        for (size_t j = from; j <= to && j < sig_.size(); ++j)
            if (identIsDate(at(j)) && !(has(j + 1) && at(j + 1).kind == Tok::LParen)) return true;
        return false;
    }

    // A parenthesised operand counts as a date when it is a plain group or one of the
    // functions that pass a date through (max, min, isnull, coalesce) over a date column.
    bool groupIsDate(long open, size_t close) const {
        if (open < 0) return false;
        if (open > 0) {
            const Token& fn = at(static_cast<size_t>(open) - 1);
            if (fn.kind == Tok::Ident) {
                static const std::set<std::string> passThrough = {"max", "min", "ifnull", "isnull",
                                                                  "coalesce"};
                if (!passThrough.count(lower(fn.text)) && !isSqlKeyword(fn)) return false;
            }
        }
        return rangeHasDateColumn(static_cast<size_t>(open) + 1, close);
    }

    static bool isSqlKeyword(const Token& t) {
        static const std::set<std::string> kws = {"and",  "or",   "not",    "where", "on",     "when",
                                                  "then", "else", "select", "in",    "between"};
        return kws.count(lower(t.text)) > 0;
    }

    bool operandBeforeIsDate(long k) const {
        if (k < 0) return false;
        const Token& tok = at(static_cast<size_t>(k));
        if (tok.kind == Tok::RParen)
            return groupIsDate(matchBackward(static_cast<size_t>(k)), static_cast<size_t>(k));
        return identIsDate(tok);
    }

    bool operandAfterIsDate(size_t k) const {
        if (!has(k)) return false;
        const Token& tok = at(k);
        if (tok.kind == Tok::Ident && has(k + 1) && at(k + 1).kind == Tok::LParen)
            return groupIsDate(static_cast<long>(k) + 1, matchForward(k + 1));
        if (tok.kind == Tok::LParen) return groupIsDate(static_cast<long>(k), matchForward(k));
        // A qualified name: alias, dot, column.
        size_t j = k;
        while (has(j + 2) && at(j + 1).kind == Tok::Op && at(j + 1).text == ".") j += 2;
        return identIsDate(at(j));
    }

    // The operand of a BETWEEN whose keyword is at k: the one before it, past a NOT.
    long betweenOperand(long k) const {
        return k >= 1 && isKeyword(at(static_cast<size_t>(k) - 1), "not") ? k - 2 : k - 1;
    }

    // Whether the literal or "?" at k meets a date column: compared with one (on either
    // side), a bound of a BETWEEN on one, tested with a BETWEEN whose bounds are, in an IN
    // list on one, an alternative of isnull/coalesce over one, or an inserted value of one.
    // SQL Server converts such a text to a date; the embedded database compares ISO text,
    // so the text must be ISO text too for the comparison to come out the same.
    bool meetsDateColumn(size_t k) const {
        if (insertDates_.count(k)) return true;
        long p = static_cast<long>(k) - 1;
        if (p >= 0 && isComparison(at(static_cast<size_t>(p)))) return operandBeforeIsDate(p - 1);
        if (has(k + 1) && isComparison(at(k + 1))) return operandAfterIsDate(k + 2);
        if (p >= 0 && isKeyword(at(static_cast<size_t>(p)), "between"))
            return operandBeforeIsDate(betweenOperand(p));
        if (p >= 2 && isKeyword(at(static_cast<size_t>(p)), "and") &&
            isKeyword(at(static_cast<size_t>(p) - 2), "between"))
            return operandBeforeIsDate(betweenOperand(p - 2));
        const size_t between = has(k + 1) && isKeyword(at(k + 1), "not") ? k + 2 : k + 1;
        if (has(between) && isKeyword(at(between), "between")) return betweenBoundIsDate(between);
        // Inside a parenthesis: an IN list or a function's arguments.
        int depth = 0;
        for (long j = p; j >= 0; --j) {
            const Token& tok = at(static_cast<size_t>(j));
            if (tok.kind == Tok::RParen) ++depth;
            if (tok.kind == Tok::LParen) {
                if (depth-- > 0) continue;
                if (j == 0) return false;
                const Token& before = at(static_cast<size_t>(j) - 1);
                if (isKeyword(before, "in")) {
                    long operand = j - 2;
                    if (operand >= 0 && isKeyword(at(static_cast<size_t>(operand)), "not")) --operand;
                    return operandBeforeIsDate(operand);
                }
                std::string fn = lower(before.text);
                if (before.kind == Tok::Ident && (fn == "ifnull" || fn == "isnull" || fn == "coalesce"))
                    return rangeHasDateColumn(static_cast<size_t>(j) + 1,
                                              matchForward(static_cast<size_t>(j)));
                return false;
            }
        }
        return false;
    }

    // Whether a bound of the BETWEEN at k is a date: the one after it, or the one after the
    // AND that closes it.
    bool betweenBoundIsDate(size_t k) const {
        if (operandAfterIsDate(k + 1)) return true;
        int depth = 0;
        for (size_t j = k + 1; has(j); ++j) {
            if (at(j).kind == Tok::LParen) ++depth;
            if (at(j).kind == Tok::RParen && --depth < 0) return false;
            if (depth == 0 && isKeyword(at(j), "and")) return operandAfterIsDate(j + 1);
        }
        return false;
    }

    // insert into T (c1, c2, ...) values (v1, v2, ...), (...): a lone literal or "?" under a
    // date column is a date.
    void markInsertColumns() {
        if (!isKeyword(at(0), "insert")) return;
        size_t k = 1;
        if (has(k) && isKeyword(at(k), "into")) ++k;
        while (has(k) && at(k).kind != Tok::LParen && !isKeyword(at(k), "values") &&
               !isKeyword(at(k), "select"))
            ++k;
        if (!has(k) || at(k).kind != Tok::LParen) return;
        std::vector<bool> dateCols;
        size_t close = matchForward(k);
        bool lastWasName = false;
        for (size_t j = k + 1; j < close; ++j) {
            if (at(j).kind == Tok::Comma) {
                lastWasName = false;
                continue;
            }
            if (at(j).kind == Tok::Op && at(j).text == ".") continue;
            if (lastWasName) dateCols.pop_back();  // qualified column: the last part counts
            dateCols.push_back(identIsDate(at(j)));
            lastWasName = true;
        }
        k = close + 1;
        if (!has(k) || !isKeyword(at(k), "values")) return;
        ++k;
        while (has(k) && at(k).kind == Tok::LParen) {
            size_t end = matchForward(k);
            size_t col = 0, start = k + 1;
            int depth = 0;
            for (size_t j = k + 1; j <= end; ++j) {
                if (at(j).kind == Tok::LParen) ++depth;
                if (at(j).kind == Tok::RParen && j != end) --depth;
                if ((at(j).kind == Tok::Comma && depth == 0) || j == end) {
                    if (j == start + 1 && col < dateCols.size() && dateCols[col] &&
                        (at(start).kind == Tok::Param || at(start).kind == Tok::String))
                        insertDates_.insert(start);
                    ++col;
                    start = j + 1;
                }
            }
            k = end + 1;
            if (has(k) && at(k).kind == Tok::Comma) ++k;
        }
    }

    void rewriteFunctions() {
        for (size_t k = 0; k < sig_.size(); ++k) {
            Token& tok = t_[sig_[k]];
            if (tok.kind == Tok::Op && (tok.text == "*=" || tok.text == "=*"))
                unsupported("The old outer join operator '" + tok.text + "' (use LEFT or RIGHT OUTER JOIN)");
            // T-SQL's "not less than" and "not greater than".
            if (tok.kind == Tok::Op && tok.text == "!<") tok.text = ">=";
            if (tok.kind == Tok::Op && tok.text == "!>") tok.text = "<=";
            // "+" beside a text literal joins texts on the server; SQLite would add numbers.
            if (tok.kind == Tok::Op && tok.text == "+" &&
                ((k > 0 && at(k - 1).kind == Tok::String) || (has(k + 1) && at(k + 1).kind == Tok::String)))
                tok.text = "||";
            if (tok.kind != Tok::Ident) continue;
            std::string name = lower(tok.text);
            // A table hint such as "with (updlock, holdlock)" asks the server for the locks that
            // the embedded database's write lock already holds for the whole transaction.
            if (name == "with" && has(k + 1) && at(k + 1).kind == Tok::LParen) {
                const size_t close = matchForward(k + 1);
                bool hints = close > k + 2;
                for (size_t j = k + 2; j < close; ++j)
                    hints = hints && (at(j).kind == Tok::Ident || at(j).kind == Tok::Comma);
                if (hints) {
                    for (size_t j = k; j <= close; ++j) t_[sig_[j]] = Token{Tok::Space, " "};
                    k = close;
                    continue;
                }
            }
            if (name == "like" && has(k + 1) && at(k + 1).kind == Tok::String &&
                at(k + 1).text.find('[') != std::string::npos &&
                !(has(k + 2) && isKeyword(at(k + 2), "escape"))) {
                tok.text = "glob";
                t_[sig_[k + 1]].text = globPattern(at(k + 1).text);
                continue;
            }
            if (name == "top" && k > 0 &&
                (isKeyword(at(k - 1), "select") || isKeyword(at(k - 1), "distinct")))
                unsupported("SELECT TOP");
            bool call = has(k + 1) && at(k + 1).kind == Tok::LParen &&
                        !(k > 0 && at(k - 1).kind == Tok::Op && at(k - 1).text == ".");
            if (!call) continue;
            static const std::pair<const char*, const char*> renames[] = {
                {"isnull", "ifnull"},
                {"len", "tsql_len"},
                {"right", "tsql_right"},
                {"left", "tsql_left"},
                {"isnumeric", "tsql_isnumeric"},
                {"month", "tsql_month"},
                {"year", "tsql_year"},
                {"day", "tsql_day"},
                {"getdate", "tsql_getdate"},
            };
            for (const auto& [from, to] : renames)
                if (name == from) tok.text = to;
            if (name == "convert") rewriteConvert(k);
            if (name == "try_convert") {
                rewriteConvert(k);
                tok.text = "tsql_try_int";
            }
            static const std::set<std::string> unsupportedFns = {
                "dateadd", "datediff", "datepart", "charindex", "patindex", "stuff", "datename"};
            if (unsupportedFns.count(name)) unsupported("The function " + name + "()");
        }
    }

    // SQLite's LIKE has no character classes; its GLOB has them but tells case apart, so
    // every letter, in a class or not, is made to match both of its cases.
    static std::string globPattern(const std::string& literal) {
        auto lowerOf = [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); };
        auto upperOf = [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); };
        auto isLetter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
        std::string out;
        for (size_t i = 0; i < literal.size(); ++i) {
            char c = literal[i];
            size_t close = c == '[' ? literal.find(']', i + 1) : std::string::npos;
            if (close != std::string::npos) {
                std::string cls = "[";
                size_t j = i + 1;
                if (j < close && literal[j] == '^') cls += literal[j++];
                for (; j < close; ++j) {
                    char a = literal[j];
                    if (j + 2 < close && literal[j + 1] == '-') {
                        char b = literal[j + 2];
                        cls += std::string{a, '-', b};
                        if (isLetter(a) && isLetter(b))
                            cls += std::string{lowerOf(a), '-', lowerOf(b), upperOf(a), '-', upperOf(b)};
                        j += 2;
                    } else {
                        cls += a;
                        if (isLetter(a)) cls += lowerOf(a) == a ? upperOf(a) : lowerOf(a);
                    }
                }
                out += cls + "]";
                i = close;
            } else if (c == '%') {
                out += '*';
            } else if (c == '_') {
                out += '?';
            } else if (c == '*' || c == '?' || c == '[') {
                out += std::string("[") + c + "]";
            } else if (isLetter(c)) {
                out += std::string("[") + lowerOf(c) + upperOf(c) + "]";
            } else {
                out += c;
            }
        }
        return out;
    }

    // convert(int, x) becomes tsql_int(x), which fails as the server does on a text that is
    // not a whole number; other target types are refused by name.
    void rewriteConvert(size_t k) {
        size_t open = k + 1, close = matchForward(open);
        size_t comma = open + 1;
        while (comma < close && at(comma).kind != Tok::Comma) ++comma;
        if (comma == close)
            common::raise(common::err::Database, kErrorSource,
                          "Incorrect syntax: convert takes a data type and a value.");
        std::string type;
        for (size_t j = open + 1; j < comma; ++j) type += lower(at(j).text);
        if (type != "int" && type != "integer") unsupported("convert(" + type + ", ...)");
        int depth = 0;
        for (size_t j = comma + 1; j < close; ++j) {
            if (at(j).kind == Tok::LParen) ++depth;
            if (at(j).kind == Tok::RParen) --depth;
            if (at(j).kind == Tok::Comma && depth == 0) unsupported("convert with a style");
        }
        t_[sig_[k]].text = "tsql_int";
        for (size_t j = open + 1; j <= comma; ++j) t_[sig_[j]].text.clear();
        // Blanks between the removed type and the value stay harmless.
    }

    AdaptedStatement parseExec() {
        AdaptedStatement a;
        a.isExec = true;
        size_t k = 1;
        if (!has(k)) common::raise(common::err::Database, kErrorSource, "Incorrect syntax near 'exec'.");
        // The name may be qualified (dbo.spName); the last part names the procedure.
        for (;;) {
            const Token& n = at(k);
            if (n.kind != Tok::Ident && n.kind != Tok::Quoted)
                common::raise(common::err::Database, kErrorSource, "Incorrect syntax near '" + n.text + "'.");
            a.procedure = n.kind == Tok::Quoted ? n.text.substr(1, n.text.size() - 2) : n.text;
            ++k;
            if (has(k + 1) && at(k).kind == Tok::Op && at(k).text == ".") {
                ++k;
                continue;
            }
            break;
        }
        while (has(k)) {
            if (at(k).kind == Tok::Op && at(k).text == ";") {
                ++k;
                continue;
            }
            ExecArgument arg;
            if (at(k).kind == Tok::Variable && has(k + 1) && at(k + 1).kind == Tok::Op &&
                at(k + 1).text == "=") {
                arg.name = at(k).text;
                k += 2;
            }
            if (!has(k))
                common::raise(common::err::Database, kErrorSource,
                              "Incorrect syntax near the end of the exec statement.");
            const Token& v = at(k);
            std::string sign;
            if (v.kind == Tok::Op && (v.text == "-" || v.text == "+") && has(k + 1) &&
                at(k + 1).kind == Tok::Number) {
                sign = v.text == "-" ? "-" : "";
                ++k;
            }
            const Token& val = at(k);
            if (val.kind == Tok::String) {
                arg.value = Value(literalText(val));
            } else if (val.kind == Tok::Number) {
                std::string num = sign + val.text;
                if (num.find_first_of(".eE") == std::string::npos)
                    arg.value = Value(static_cast<int64_t>(std::strtoll(num.c_str(), nullptr, 10)));
                else
                    arg.value = Value(std::strtod(num.c_str(), nullptr));
            } else if (val.kind == Tok::Param) {
                arg.placeholder = true;
            } else if (isKeyword(val, "null") || isKeyword(val, "default")) {
                arg.value = Value();
            } else {
                common::raise(
                    common::err::Database, kErrorSource,
                    "Incorrect syntax near '" + val.text + "' in the arguments of " + a.procedure + ".");
            }
            ++k;
            if (has(k) && (isKeyword(at(k), "output") || isKeyword(at(k), "out"))) ++k;
            a.arguments.push_back(std::move(arg));
            if (has(k)) {
                if (at(k).kind == Tok::Comma) {
                    ++k;
                } else if (!(at(k).kind == Tok::Op && at(k).text == ";")) {
                    common::raise(common::err::Database, kErrorSource,
                                  "Incorrect syntax near '" + at(k).text + "'.");
                }
            }
        }
        return a;
    }

    std::vector<Token>& t_;
    const std::function<bool(const std::string&)>& isDate_;
    std::vector<size_t> sig_;
    std::set<size_t> insertDates_;
};

}  // namespace

AdaptedStatement TsqlAdapter::adapt(std::string_view tsql) const {
    std::vector<Token> toks = tokenize(tsql);
    Rewriter r(toks, isDateColumn_);
    return r.run();
}

}  // namespace data::sqlite
