// From a text to a flat list of tokens, by four patterns. The search isn't anchored:
// what no alternative matches, white space above all, is passed over without a word.
#include "calc/vok.expr.h"

#include <cstdio>
#include <string>

#include <pcre.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/message.h"

const char *const _vok_expr_token_str[vok_expr_token_kinds] = {
    "UNKNOWN", "WORD",  "NUMBER", "SPECIAL", "LPAREN",   "RPAREN",   "COMMA",
    "SEMI",    "GROUP", "INOP",   "OP",      "VARIABLE", "CONSTANT", "ATTRIBUTE"};

namespace {

using namespace vok::expr;

#define RE_NUMBER R"((([0-9]*\.?[0-9]+)|([0-9]+\.?[0-9]*)))"
#define RE_SPECIAL R"((\*|\/|\+|\-|%|&&|&|\|\||\||>\=|>|<\=|<|\=\=|\=|\!\=|\!))"

struct pattern {
    const char *name, *text;
    pcre *code = nullptr;
    pcre_extra *studied = nullptr;
    pcre_extra limits = {}; // the study's data with the limits

    // Whether it is found behind `from`; 0 when the vector is too small, negative as PCRE has it.
    int search(const char *in, int length, int from, int *vector, int size) const
    {
        return code ? pcre_exec(code, &limits, in, length, from, 0, vector, size) : PCRE_ERROR_NOMATCH;
    }
};

constexpr int re_token = 0, re_word = 1, re_number = 2, re_special = 3;
pattern patterns[] = {
    {"re_token",
     R"((\,)|(\()|(\))|((@?([a-z]|[A-Z])+\w*(\[[0-9]+\])?)(\.([a-z]|[A-Z])+\w*(\[[0-9]+\])*)?)|)" RE_NUMBER
     "|" RE_SPECIAL},
    {"re_word", R"(((@?([a-z]|[A-Z])+\w*(\[[0-9]+\])?)(\.([a-z]|[A-Z])+\w*(\[[0-9]+\])*)*))"},
    {"re_number", RE_NUMBER},
    {"re_special", RE_SPECIAL},
};

bool found(const pattern &p, const std::string &text)
{
    int vector[64];
    return p.search(text.data(), static_cast<int>(text.size()), 0, vector, 64) >= 0;
}

} // namespace

void vok_expr_pcre_init(void)
{
    vok_expr_pcre_dispose();
    for (pattern &p : patterns) {
        const char *error = nullptr;
        int at = 0;
        p.code = pcre_compile(p.text, 0, &error, &at, nullptr);
        if (!p.code) {
            object_error(nullptr, "vok.expr: PCRE error compiling %s (%s)", p.name, error);
            continue;
        }
        p.studied = pcre_study(p.code, 0, &error);
        if (error)
            object_error(nullptr, "vok.expr: PCRE error studying %s (%s)", p.name, error);
        if (p.studied)
            p.limits = *p.studied;
        // Each letter of a word is a step of PCRE's recursion, some 500 bytes of stack; a
        // word of more than some hundred letters ends the text with an error.
        p.limits.flags |= PCRE_EXTRA_MATCH_LIMIT | PCRE_EXTRA_MATCH_LIMIT_RECURSION;
        p.limits.match_limit = 100000;
        p.limits.match_limit_recursion = 1500;
    }
}

void vok_expr_pcre_dispose(void)
{
    for (pattern &p : patterns) {
        if (p.studied)
            pcre_free_study(p.studied);
        if (p.code)
            pcre_free(p.code);
        p.code = nullptr;
        p.studied = nullptr;
        p.limits = {};
    }
}

vok_err vok_expr_sym2tok(vok_expr *x, long i)
{
    if (!x || i < 0 || i >= VOK_EXPR_MAX)
        return VOK_ERR_INVP;
    if (x->trees[i])
        free_tree(x->trees[i]);
    x->trees[i] = static_cast<node *>(vok::make(ps_vokra, symbols().tree));
    const std::string text = x->expr[i]->name;
    const int length = static_cast<int>(text.size());
    int vector[512];
    for (int from = 0; from < length;) {
        const int result = patterns[re_token].search(text.data(), length, from, vector, 512);
        if (result == PCRE_ERROR_NOMATCH)
            break;
        if (result < 0) {
            vok_object_error(x, "vok.expr: PCRE error %d", result);
            break;
        }
        if (result == 0)
            vok_object_error(x, "vok.expr: maximum substrings reached");
        const auto start = static_cast<size_t>(vector[0]), end = static_cast<size_t>(vector[1]);
        vok_expr_append_token(x, i, text.substr(start, end - start).c_str());
        from = vector[1];
    }
    return VOK_ERR_NONE;
}

long vok_expr_token2type(const char *chars)
{
    const std::string text = chars ? chars : "";
    if (text == ",")
        return vok_expr_token_comma;
    if (text == ")")
        return vok_expr_token_rparen;
    if (text == "(")
        return vok_expr_token_lparen;
    if (found(patterns[re_word], text))
        return vok_expr_token_word;
    if (found(patterns[re_number], text))
        return vok_expr_token_number;
    return found(patterns[re_special], text) ? vok_expr_token_special : vok_expr_token_unknown;
}

vok_err vok_expr_append_token(vok_expr *x, long i, const char *text)
{
    if (!x || !text || i < 0 || i >= VOK_EXPR_MAX)
        return VOK_ERR_INVP;
    if (!x->trees[i]) {
        vok_object_error(x, "vok.expr: no tree to append token");
        return VOK_ERR_EROR;
    }
    const long type = vok_expr_token2type(text);
    atom val;
    if (type == vok_expr_token_number) {
        float number = 0; // a literal has the precision of float32, deliberately
        if (std::sscanf(text, "%f", &number) != 1) {
            vok_object_error(x, "vok.expr: %s: bad number", text);
            number = 0;
        }
        atom_setfloat(&val, number);
    } else {
        atom_setsym(&val, gensym(text));
    }
    node *n = make_node(type, val);
    if (!n)
        return VOK_ERR_OMEM;
    append_child(x->trees[i], n);
    return VOK_ERR_NONE;
}
