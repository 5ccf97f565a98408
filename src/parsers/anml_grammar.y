/* The ANML dialect; docs/anml.md describes it for its users.
 *
 * Each action is one call of the builder. Lists are left-recursive: their length costs no stack, and their
 * items come in the order of the text. Binary operators are right-recursive, as the language has it.
 */
%code requires {
#include "parsers/anml_builder.h"
}

%define api.pure full
%define api.prefix {zorvel_anml_parser_}
%locations
%lex-param {void* scanner}
%parse-param {void* scanner} {zorvel::AnmlBuilder* builder}
%expect 0

%union {
  zorvel::Node* node;
  const zorvel::AnmlName* name;
  const std::string* text;
  const zorvel::model::TypePtr* type;
  std::size_t count;
}

%code {
// The stack begins with 200 entries on the stack of the process and doubles on the heap up to this ceiling;
// only nesting and chains of operators need it.
#define YYMAXDEPTH 3000000
// Of a location only the first line is used.
#define YYLLOC_DEFAULT(Current, Rhs, N) ((Current) = (N) ? YYRHSLOC(Rhs, 1) : YYRHSLOC(Rhs, 0))
// Nothing may be thrown through the generated code, which holds its stack in plain memory.
#define DO(...)                                                \
  do {                                                         \
    if (!builder->run(yyloc.first_line, [&] { __VA_ARGS__; })) YYABORT; \
  } while (0)

int zorvel_anml_parser_lex(ZORVEL_ANML_PARSER_STYPE* value, ZORVEL_ANML_PARSER_LTYPE* place, void* scanner);

static void zorvel_anml_parser_error(ZORVEL_ANML_PARSER_LTYPE*, void*, zorvel::AnmlBuilder* builder, const char* message) {
  builder->syntax_error(message);
}
}

%token TK_COMMA "," TK_SEMI ";" TK_COLON ":" TK_ASSIGN ":=" TK_INCREASE ":+=" TK_DECREASE ":-="
%token TK_IN_ASSIGN ":in" TK_ANNOTATION "::" TK_L_BRACE "{" TK_R_BRACE "}" TK_L_BRACKET "[" TK_R_BRACKET "]"
%token TK_L_PARENTHESIS "(" TK_R_PARENTHESIS ")" TK_MINUS "-" TK_SQRT "sqrt" TK_PLUS "+" TK_TIMES "*"
%token TK_DIV "/" TK_LE "<=" TK_GE ">=" TK_GT ">" TK_LT "<" TK_EQUALS "==" TK_NOT_EQUALS "!=" TK_DOT "."
%token TK_FORALL "forall" TK_IN "in" TK_SUBSET "subset" TK_UNION "union" TK_INTERSECTION "intersection"
%token TK_DIFFERENCE "\\" TK_ACTION "action" TK_PROCESS "process" TK_TYPE "type" TK_INSTANCE "instance"
%token TK_FLUENT "fluent" TK_CONSTANT "constant" TK_WITH "with" TK_GOAL "goal" TK_CONTAINS "contains"
%token TK_BOOLEAN "boolean" TK_INTEGER "integer" TK_FLOAT "float" TK_SET "set" TK_ALL "all" TK_START "start"
%token TK_END "end" TK_DURATION "duration" TK_TIME "#t" TK_AND "and" TK_OR "or" TK_XOR "xor"
%token TK_IMPLIES "implies" TK_NOT "not" TK_TRUE "true" TK_FALSE "false"
%token <name> TK_IDENTIFIER
%token <text> TK_RATIONAL TK_NATURAL TK_STRING

%type <type> type_ref primitive_type
%type <node> integer_const float_const boolean_const interval temporal_expression
%type <node> assignment_expression in_assignment_expression forall_expression fluent_ref expression
%type <node> boolean_expression xor_expression or_expression and_expression batom_expression
%type <node> arithmetic_expression times_expression arithmetic_atom_expression
%type <count> action_body body_item class_body class_stmt inheritance_list identifier_list parameter_list
%type <count> parameters expression_list expressions expression_block expression_block_body timed_expression
%type <count> annotation_list

%%

anml_body:
    %empty
  | anml_body anml_stmt ";"
  ;

anml_stmt:
    type_decl                             { DO(builder->add_declaration()); }
  | fluent_decl                           { DO(builder->add_declaration()); }
  | fluent_decl ":=" expression           { DO(builder->add_fluent_with_value($3, @$.first_line)); }
  | constant_decl                         { DO(builder->add_declaration()); }
  | constant_decl ":=" expression         { DO(builder->add_constant_with_value($3, @$.first_line)); }
  | action_decl                           { DO(builder->add_declaration()); }
  | timed_expression                      { DO(builder->add_statements($1)); }
  | expression_block                      { DO(builder->add_statements($1)); }
  | instance_decl
  | goal_decl
  | "::" "(" annotation_list ")"          { DO(builder->add_annotation($3)); }
  ;

goal_decl:
    "goal" goal_item
  | "goal" "{" goal_body "}"
  ;
goal_body:
    goal_item ";"
  | goal_body goal_item ";"
  ;
goal_item:
    timed_expression                      { DO(builder->add_goals($1)); }
  | expression_block                      { DO(builder->add_goals($1)); }
  ;

/* Declarations. */

type_decl:
    type_open TK_IDENTIFIER inheritance_list
      { DO(builder->declare_type($2, $3, 0, @$.first_line)); }
  | type_open TK_IDENTIFIER inheritance_list "with" "{" class_body "}"
      { DO(builder->declare_type($2, $3, $6, @$.first_line)); }
  ;
type_open: "type"                         { DO(builder->open_type()); };
inheritance_list:
    %empty                                { $$ = 0; }
  | inheritance_list "<" TK_IDENTIFIER    { DO($$ = $1 + builder->name_item($3, @3.first_line)); }
  ;
class_body:
    %empty                                { $$ = 0; }
  | class_body class_stmt ";"             { $$ = $1 + $2; }
  ;
class_stmt:
    class_decl                            { DO($$ = builder->member()); }
  ;
class_decl: type_decl | fluent_decl | constant_decl | action_decl;

fluent_decl:
    "fluent" type_ref TK_IDENTIFIER
      { DO(builder->declare_fluent($2, $3, 0, @$.first_line)); }
  | "fluent" type_ref TK_IDENTIFIER "(" parameter_list ")"
      { DO(builder->declare_fluent($2, $3, $5, @$.first_line)); }
  ;
constant_decl:
    "constant" type_ref TK_IDENTIFIER
      { DO(builder->declare_constant($2, $3, 0, @$.first_line)); }
  | "constant" type_ref TK_IDENTIFIER "(" parameter_list ")"
      { DO(builder->declare_constant($2, $3, $5, @$.first_line)); }
  ;
instance_decl:
    "instance" type_ref identifier_list   { DO(builder->add_instances($2, $3)); }
  ;
identifier_list:
    TK_IDENTIFIER                         { DO($$ = builder->name_item($1, @1.first_line)); }
  | identifier_list "," TK_IDENTIFIER     { DO($$ = $1 + builder->name_item($3, @3.first_line)); }
  ;

action_decl:
    "action" TK_IDENTIFIER "(" parameter_list ")" "{" action_body "}"
      { DO(builder->declare_action(false, $2, $4, $7, @$.first_line)); }
  | "action" TK_IDENTIFIER "(" parameter_list ")" "::" "(" annotation_list ")" "{" action_body "}"
      { DO(builder->declare_action_with_cost($2, $4, $8, $11, @$.first_line)); }
  | "process" TK_IDENTIFIER "(" parameter_list ")" "{" action_body "}"
      { DO(builder->declare_action(true, $2, $4, $7, @$.first_line)); }
  ;
action_body:
    %empty                                { $$ = 0; }
  | action_body body_item ";"             { $$ = $1 + $2; }
  ;
body_item:
    expression_block
  | timed_expression
  | in_assignment_expression              { DO($$ = builder->statement($1, @$.first_line)); }
  ;
parameter_list:
    %empty                                { $$ = 0; }
  | parameters
  ;
parameters:
    type_ref TK_IDENTIFIER                { DO($$ = builder->parameter($1, $2, @2.first_line)); }
  | parameters "," type_ref TK_IDENTIFIER { DO($$ = $1 + builder->parameter($3, $4, @4.first_line)); }
  ;

annotation_list:
    TK_STRING                             { DO($$ = builder->string_annotation($1)); }
  | expression                            { DO($$ = builder->expression_annotation($1, @1.first_line)); }
  | annotation_list "," TK_STRING         { DO($$ = $1 + builder->string_annotation($3)); }
  | annotation_list "," expression        { DO($$ = $1 + builder->expression_annotation($3, @3.first_line)); }
  ;

/* Types. */

type_ref:
    primitive_type
  | "set" "(" type_ref ")"                { DO($$ = builder->set_type($3)); }
  | TK_IDENTIFIER                         { DO($$ = builder->named_type($1)); }
  ;
primitive_type:
    "boolean"                             { DO($$ = builder->boolean_type()); }
  | "integer"                             { DO($$ = builder->integer_type()); }
  | "float"                               { DO($$ = builder->float_type()); }
  | "integer" "[" integer_const "," integer_const "]"
                                          { DO($$ = builder->integer_type($3, $5)); }
  | "float" "[" float_const "," float_const "]"
                                          { DO($$ = builder->float_type($3, $5)); }
  ;
integer_const:
    TK_NATURAL                            { DO($$ = builder->natural($1, false)); }
  | "-" TK_NATURAL                        { DO($$ = builder->natural($2, true)); }
  ;
float_const:
    integer_const
  | TK_RATIONAL                           { DO($$ = builder->decimal($1, false)); }
  | "-" TK_RATIONAL                       { DO($$ = builder->decimal($2, true)); }
  ;
boolean_const:
    "true"                                { DO($$ = builder->factory().make_boolean_constant(true)); }
  | "false"                               { DO($$ = builder->factory().make_boolean_constant(false)); }
  ;

/* Statements. */

timed_expression:
    interval expression
      { DO($$ = builder->statement(builder->factory().make_temporal_expression($1, $2), @$.first_line)); }
  | expression                            { DO($$ = builder->statement($1, @$.first_line)); }
  ;
expression_block:
    interval "{" expression_block_body "}"
                                          { DO($$ = builder->block($1, $3)); }
  ;
expression_block_body:
    expression ";"                        { DO($$ = builder->statement($1, @$.first_line)); }
  | expression_block_body expression ";"  { DO($$ = $1 + builder->statement($2, @2.first_line)); }
  ;
interval:
    "[" temporal_expression "," temporal_expression "]"
      { DO($$ = builder->factory().make_closed_interval($2, $4)); }
  | "[" temporal_expression "," temporal_expression ")"
      { DO($$ = builder->factory().make_right_open_interval($2, $4)); }
  | "(" temporal_expression "," temporal_expression "]"
      { DO($$ = builder->factory().make_left_open_interval($2, $4)); }
  | "(" temporal_expression "," temporal_expression ")"
      { DO($$ = builder->factory().make_open_interval($2, $4)); }
  | "[" "all" "]"                         { DO($$ = builder->whole(true)); }
  | "(" "all" ")"                         { DO($$ = builder->whole(false)); }
  | "[" temporal_expression "]"           { DO($$ = builder->factory().make_point_interval($2)); }
  | interval "contains"                   { DO($$ = builder->factory().make_contains($1, nullptr, "")); }
  | interval "contains" "[" arithmetic_expression "]"
                                          { DO($$ = builder->factory().make_contains($1, $4, "")); }
  | interval TK_IDENTIFIER ":"            { DO($$ = builder->labelled($1, $2)); }
  ;
temporal_expression: arithmetic_expression;

assignment_expression:
    fluent_ref ":=" expression            { DO($$ = builder->factory().make_assign($1, $3)); }
  | fluent_ref ":+=" expression           { DO($$ = builder->factory().make_increase($1, $3)); }
  | fluent_ref ":-=" expression           { DO($$ = builder->factory().make_decrease($1, $3)); }
  | "duration" ":=" arithmetic_expression
      { DO($$ = builder->factory().make_assign(builder->factory().make_duration_anchor(), $3)); }
  ;
in_assignment_expression:
    "duration" ":in" "[" temporal_expression "," temporal_expression "]"
                                          { DO($$ = builder->duration_within($4, $6)); }
  ;
forall_expression:
    forall_open "(" parameter_list ")" "{" action_body "}"
                                          { DO($$ = builder->forall($3, $6)); }
  ;
forall_open: "forall"                     { DO(builder->open_forall()); };

/* Expressions. */

fluent_ref:
    TK_IDENTIFIER                         { DO($$ = builder->symbol($1, @1.first_line)); }
  | TK_IDENTIFIER "(" expression_list ")" { DO($$ = builder->application($1, $3, @1.first_line)); }
  | fluent_ref "." TK_IDENTIFIER          { DO($$ = builder->member_of($1, builder->symbol($3, @3.first_line))); }
  | fluent_ref "." TK_IDENTIFIER "(" expression_list ")"
      { DO($$ = builder->member_of($1, builder->application($3, $5, @3.first_line))); }
  | "start" "(" TK_IDENTIFIER ")"         { DO($$ = builder->label_reference($3)); }
  ;
expression_list:
    "*"                                   { DO($$ = builder->list_item(builder->wildcard())); }
  | expressions
  | expressions "," "*"                   { DO($$ = $1 + builder->list_item(builder->wildcard())); }
  ;
expressions:
    boolean_expression                    { DO($$ = builder->list_item($1)); }
  | expressions "," boolean_expression    { DO($$ = $1 + builder->list_item($3)); }
  ;
expression:
    boolean_expression
  | assignment_expression
  | forall_expression
  ;
boolean_expression:
    xor_expression "implies" boolean_expression
                                          { DO($$ = builder->factory().make_imply($1, $3)); }
  | xor_expression
  ;
xor_expression:
    or_expression "xor" xor_expression    { DO($$ = builder->exclusive_or($1, $3)); }
  | or_expression
  ;
or_expression:
    and_expression "or" or_expression     { DO($$ = builder->factory().make_or($1, $3)); }
  | and_expression
  ;
and_expression:
    batom_expression "and" and_expression { DO($$ = builder->factory().make_and($1, $3)); }
  | batom_expression
  ;
batom_expression:
    "not" batom_expression                { DO($$ = builder->factory().make_not($2)); }
  | arithmetic_expression "<" arithmetic_expression
                                          { DO($$ = builder->factory().make_lt($1, $3)); }
  | arithmetic_expression "<=" arithmetic_expression
                                          { DO($$ = builder->factory().make_le($1, $3)); }
  | arithmetic_expression ">" arithmetic_expression
                                          { DO($$ = builder->factory().make_gt($1, $3)); }
  | arithmetic_expression ">=" arithmetic_expression
                                          { DO($$ = builder->factory().make_ge($1, $3)); }
  | arithmetic_expression "==" arithmetic_expression
                                          { DO($$ = builder->factory().make_equals($1, $3)); }
  | arithmetic_expression "!=" arithmetic_expression
                                          { DO($$ = builder->not_equal($1, $3)); }
  | arithmetic_expression "in" arithmetic_expression
                                          { DO($$ = builder->factory().make_in($1, $3)); }
  | arithmetic_expression "subset" arithmetic_expression
                                          { DO($$ = builder->factory().make_subset($1, $3)); }
  | arithmetic_expression "union" arithmetic_expression
                                          { DO($$ = builder->factory().make_union($1, $3)); }
  | arithmetic_expression "intersection" arithmetic_expression
                                          { DO($$ = builder->factory().make_intersection($1, $3)); }
  | arithmetic_expression "\\" arithmetic_expression
                                          { DO($$ = builder->factory().make_difference($1, $3)); }
  | arithmetic_expression
  ;
arithmetic_expression:
    times_expression "+" arithmetic_expression
                                          { DO($$ = builder->plus($1, $3)); }
  | times_expression "-" arithmetic_expression
                                          { DO($$ = builder->minus($1, $3, @$.first_line)); }
  | times_expression
  ;
times_expression:
    arithmetic_atom_expression "*" times_expression
                                          { DO($$ = builder->times($1, $3)); }
  | arithmetic_atom_expression "/" times_expression
                                          { DO($$ = builder->divide($1, $3, @$.first_line)); }
  | arithmetic_atom_expression
  ;
arithmetic_atom_expression:
    float_const
  | fluent_ref
  | boolean_const
  | "-" fluent_ref                        { DO($$ = builder->factory().make_unary_minus($2)); }
  | "start"                               { DO($$ = builder->factory().make_start_anchor()); }
  | "end"                                 { DO($$ = builder->factory().make_end_anchor()); }
  | "duration"                            { DO($$ = builder->factory().make_duration_anchor()); }
  | "#t"                                  { DO($$ = builder->factory().make_time_anchor()); }
  | "(" expression ")"                    { DO($$ = builder->parenthesised($2)); }
  | "{" expression_list "}"               { DO($$ = builder->set($2)); }
  | "{" "}"                               { DO($$ = builder->set(0)); }
  | "sqrt" "(" arithmetic_expression "," arithmetic_expression ")"
                                          { DO($$ = builder->factory().make_sqrt($3, $5)); }
  ;
