/* The tokens of SMT-LIB 2. A command is scanned from memory, so every token is one match, however
   long, and no rule needs to collect its text piece by piece. */
%{
#include "lang/smtlib2parsestate.h"
#include "smtlib2_grammar.h"

#include <algorithm>
#include <stdexcept>

using tarq::smtlib2::ParseState;

#define YYSTYPE TARQ_SMTLIB2_PARSER_STYPE
#define YY_FATAL_ERROR(msg) throw std::runtime_error(msg)
/* The scanner ends the token with a zero byte in the buffer; the driver can undo that. */
#define YY_USER_ACTION                                                                             \
    yyextra->token_end = yytext + yyleng;                                                          \
    yyextra->token_hold = yyg->yy_hold_char;                                                       \
    yyextra->at_token = true;

#define TOKEN(code)                                                                                \
    do {                                                                                           \
        ++yyextra->num_tokens;                                                                     \
        yylval->text = { yytext, static_cast<std::size_t>(yyleng) };                               \
        return code;                                                                               \
    } while (false)
/* A word that is reserved behind the opening parenthesis of a command only. */
#define COMMAND(code)                                                                              \
    do {                                                                                           \
        const int token = in_command_position(yyextra) ? code : SYMBOL;                            \
        TOKEN(token);                                                                              \
    } while (false)
#define OBJECTIVE(code)                                                                            \
    do {                                                                                           \
        yyextra->takes_opt_attributes |= in_command_position(yyextra);                             \
        COMMAND(code);                                                                             \
    } while (false)
/* A keyword that is special among the attributes of an objective only. */
#define OPT_ATTRIBUTE(code)                                                                        \
    TOKEN(yyextra->takes_opt_attributes && yyextra->depth == 1 ? code : KEYWORD)

namespace {

bool in_command_position(const ParseState* state)
{
    return state->num_tokens == 1 && state->depth == 1;
}

/* Tokens with line feeds in them: the line that counts is the one of their end. */
void count_lines(ParseState* state, const char* text, std::size_t size)
{
    state->line += static_cast<int>(std::count(text, text + size, '\n'));
}

/* The text with every byte that is not printable ASCII shown as \xNN. */
int lexical_error(ParseState* state, std::string message, const char* text, std::size_t size)
{
    static const char digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 32 && c < 127) {
            message += text[i];
        } else {
            message += "\\x";
            message += digits[c >> 4];
            message += digits[c & 15];
        }
    }
    state->lexical_error = std::move(message);
    return tarq::smtlib2::ERROR_TOKEN;
}

}
%}

%option prefix="tarq_smtlib2_parser_"
%option reentrant bison-bridge 8bit batch never-interactive
%option noyywrap nounput noinput nodefault
%option extra-type="tarq::smtlib2::ParseState*"

DIGIT   [0-9]
SYM     [A-Za-z0-9!$%&*+\-./<=>?@^_~]
KEYSYM  [A-Za-z0-9!$%&*+\-.<=>?@^_~]
QUOTED  \|([^|\\\0]|\\+[^|\\\0]|\\+\|)*
STR     \"([^"\0]|\"\")*

%%

";"[^\n]*                   { }
\n                          { ++yyextra->line; }
[ \t\r]+                    { }

"("                         { ++yyextra->depth; TOKEN('('); }
")"                         { --yyextra->depth; TOKEN(')'); }
","                         { TOKEN(','); }
[\[\]]                      {
                                if (!yyextra->takes_brackets) {
                                    return lexical_error(
                                        yyextra, "unrecognized text: ", yytext, 1);
                                }
                                TOKEN(*yytext);
                            }

"as"                        { TOKEN(TK_AS); }
"_"                         { TOKEN(TK_UNDERSCORE); }
"let"                       { TOKEN(TK_LET); }
"!"                         { TOKEN(TK_BANG); }
"forall"                    { TOKEN(TK_FORALL); }
"exists"                    { TOKEN(TK_EXISTS); }
"set-logic"                 {
                                yyextra->takes_brackets = in_command_position(yyextra);
                                TOKEN(TK_SET_LOGIC);
                            }
"declare-sort"              { TOKEN(TK_DECLARE_SORT); }
"define-sort"               { TOKEN(TK_DEFINE_SORT); }
"declare-fun"               { TOKEN(TK_DECLARE_FUN); }
"declare-const"             { TOKEN(TK_DECLARE_CONST); }
"define-fun"                { TOKEN(TK_DEFINE_FUN); }
"push"                      { TOKEN(TK_PUSH); }
"pop"                       { TOKEN(TK_POP); }
"assert"                    { TOKEN(TK_ASSERT); }
"check-sat"                 { TOKEN(TK_CHECK_SAT); }
"check-sat-assuming"        { TOKEN(TK_CHECK_SAT_ASSUMPTIONS); }
"get-assertions"            { TOKEN(TK_GET_ASSERTIONS); }
"get-unsat-core"            { TOKEN(TK_GET_UNSAT_CORE); }
"get-unsat-assumptions"     { TOKEN(TK_GET_UNSAT_ASSUMPTIONS); }
"get-proof"                 { TOKEN(TK_GET_PROOF); }
"set-option"                { TOKEN(TK_SET_OPTION); }
"get-info"                  { TOKEN(TK_GET_INFO); }
"set-info"                  { TOKEN(TK_SET_INFO); }
"get-assignment"            { TOKEN(TK_GET_ASSIGNMENT); }
"get-model"                 { TOKEN(TK_GET_MODEL); }
"get-value"                 { TOKEN(TK_GET_VALUE); }
"reset-assertions"          { TOKEN(TK_RESET_ASSERTIONS); }
"exit"                      { TOKEN(TK_EXIT); }

"define-const"              { COMMAND(TK_DEFINE_CONST); }
"check-sat-assumptions"     { COMMAND(TK_CHECK_SAT_ASSUMPTIONS); }
"check-allsat"              { COMMAND(TK_CHECK_ALLSAT); }
"get-interpolant"           { COMMAND(TK_GET_INTERPOLANT); }
"get-objectives"            { COMMAND(TK_GET_OBJECTIVES); }
"load-objective-model"      { COMMAND(TK_LOAD_OBJECTIVE_MODEL); }
".internal-parse-terms"     { COMMAND(TK_INTERNAL_PARSE_TERMS); }
"assert-soft"               { OBJECTIVE(TK_ASSERT_SOFT); }
"minimize"                  { OBJECTIVE(TK_MINIMIZE); }
"maximize"                  { OBJECTIVE(TK_MAXIMIZE); }
"minmax"                    { OBJECTIVE(TK_MINMAX); }
"maxmin"                    { OBJECTIVE(TK_MAXMIN); }

":id"                       { OPT_ATTRIBUTE(TK_ID); }
":signed"                   { OPT_ATTRIBUTE(TK_SIGNED); }
":weight"                   { OPT_ATTRIBUTE(TK_WEIGHT); }
":dweight"                  { OPT_ATTRIBUTE(TK_DWEIGHT); }

"#b"[01]+                   { TOKEN(BINCONSTANT); }
"#x"[0-9A-Fa-f]+            { TOKEN(HEXCONSTANT); }
{DIGIT}+"."{DIGIT}+([Ee][+-]?{DIGIT}+)?  { TOKEN(RATCONSTANT); }
{DIGIT}+                    { TOKEN(NUMERAL); }
{SYM}+                      { TOKEN(SYMBOL); }
":"{KEYSYM}+                { TOKEN(KEYWORD); }

{STR}\"                     { count_lines(yyextra, yytext, yyleng); TOKEN(STRING); }
{QUOTED}\|                  { count_lines(yyextra, yytext, yyleng); TOKEN(SYMBOL); }

{STR}|{QUOTED}\\*           {
                                /* Stopped by a zero byte, or by the end of the text. */
                                count_lines(yyextra, yytext, yyleng);
                                if (yyg->yy_hold_char == 0
                                    && yytext + yyleng
                                        < yyextra->text_end) {
                                    return lexical_error(yyextra, "unrecognized text: ", "", 1);
                                }
                                return lexical_error(yyextra,
                                    *yytext == '"' ? "unterminated string" : "unterminated symbol",
                                    "", 0);
                            }
.                           { return lexical_error(yyextra, "unrecognized text: ", yytext, 1); }

%%
