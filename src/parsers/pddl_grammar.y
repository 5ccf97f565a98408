/* The part of PDDL that is read; docs/pddl-subset.md describes it for its users.
 *
 * Each action is one call of the builder. Lists are left-recursive: their length costs no stack, and their
 * items come in the order of the text. No word is kept for the names of domains and problems.
 */
%code requires {
#include "parsers/pddl_builder.h"
}

%define api.pure full
%define api.prefix {zorvel_pddl_parser_}
%locations
%lex-param {void* scanner}
%parse-param {void* scanner} {zorvel::PddlBuilder* builder}
%expect 0

%union {
  zorvel::Node* node;
  const zorvel::PddlName* name;
  const std::string* text;
  std::size_t count;
}

%code {
// The stack begins with 200 entries on the stack of the process and doubles on the heap up to this ceiling;
// only nesting needs it.
#define YYMAXDEPTH 3000000
// Of a location only the first line is used.
#define YYLLOC_DEFAULT(Current, Rhs, N) ((Current) = (N) ? YYRHSLOC(Rhs, 1) : YYRHSLOC(Rhs, 0))
// Nothing may be thrown through the generated code, which holds its stack in plain memory.
#define DO(...)                                                \
  do {                                                         \
    if (!builder->run(yyloc.first_line, [&] { __VA_ARGS__; })) YYABORT; \
  } while (0)

int zorvel_pddl_parser_lex(ZORVEL_PDDL_PARSER_STYPE* value, ZORVEL_PDDL_PARSER_LTYPE* place, void* scanner);

static void zorvel_pddl_parser_error(ZORVEL_PDDL_PARSER_LTYPE*, void*, zorvel::PddlBuilder* builder, const char* message) {
  builder->syntax_error(message);
}
}

%token TK_L_PARENTHESIS "(" TK_R_PARENTHESIS ")" TK_MINUS "-" TK_PLUS "+" TK_TIMES "*" TK_DIV "/" TK_LE "<="
%token TK_GE ">=" TK_GT ">" TK_LT "<" TK_EQUALS "=" TK_DEFINE "define" TK_DOMAIN "domain" TK_PROBLEM "problem"
%token TK_EITHER "either" TK_REQUIREMENTS ":requirements" TK_TYPES ":types" TK_PREDICATES ":predicates"
%token TK_FUNCTIONS ":functions" TK_UNCONTROLLABLE_DURATIVE_ACTION ":uncontrollable-durative-action"
%token TK_DURATIVE_ACTION ":durative-action" TK_PARAMETERS ":parameters" TK_DURATION ":duration"
%token TK_CONDITION ":condition" TK_EFFECT ":effect" TK_TYPING ":typing" TK_FLUENTS ":fluents"
%token TK_UNCONTROLLABLE_DURATIVE_ACTIONS ":uncontrollable-durative-actions"
%token TK_DURATIVE_ACTIONS ":durative-actions" TK_STRIPS ":strips" TK_EQUALITY ":equality"
%token TK_NEGATIVE_PRECONDITIONS ":negative-preconditions" TK_DURATION_ANCHOR "?duration"
%token TK_DOMAIN_REF ":domain" TK_OBJECTS ":objects" TK_INIT ":init" TK_GOAL ":goal" TK_METRIC ":metric"
%token TK_MINIMIZE "minimize" TK_TOTAL_TIME "total-time" TK_AT_START "at start" TK_AT_END "at end"
%token TK_OVER_ALL "over all" TK_AT "at" TK_AND "and" TK_OR "or" TK_NOT "not" TK_TRUE "true" TK_FALSE "false"
%token <name> TK_PARAMETER TK_IDENTIFIER
%token <text> TK_RATIONAL TK_NATURAL

%type <node> pddl_expression pddl_number
%type <count> pddl_typed_names_list pddl_formal_parameters_list pddl_parameter_list pddl_either_list
%type <count> pddl_expression_list pddl_action_parameters

%%

pddl_body:
    %empty
  | pddl_body "(" "define" pddl_domain ")"
  | pddl_body "(" "define" pddl_problem ")"
  ;

/* Domain. */

pddl_domain: "(" "domain" TK_IDENTIFIER ")" pddl_domain_body;
pddl_domain_body:
    %empty
  | pddl_domain_body pddl_domain_element
  ;
pddl_domain_element:
    "(" ":requirements" pddl_requirements_list ")"
  | "(" ":types" pddl_typed_names_list ")"          { DO(builder->declare_types($3)); }
  | "(" ":predicates" pddl_predicate_decl_list ")"
  | "(" ":functions" pddl_function_decl_list ")"
  | pddl_durative_action
  | pddl_uncontrollable_durative_action
  ;

pddl_requirements_list:
    %empty
  | pddl_requirements_list pddl_requirement
  ;
pddl_requirement:
    ":typing" | ":fluents" | ":uncontrollable-durative-actions" | ":durative-actions" | ":strips" | ":equality"
  | ":negative-preconditions"
  ;

pddl_typed_names_list:
    %empty                                          { $$ = 0; }
  | pddl_typed_names_list TK_IDENTIFIER             { DO($$ = $1 + builder->named_item($2, @2.first_line)); }
  | pddl_typed_names_list "-" TK_IDENTIFIER         { DO($$ = $1 + builder->type_item($3, @3.first_line)); }
  ;

pddl_predicate_decl_list:
    %empty
  | pddl_predicate_decl_list "(" TK_IDENTIFIER pddl_formal_parameters_list ")"
      { DO(builder->declare_predicate($3, $4, @2.first_line)); }
  ;
pddl_function_decl_list:
    %empty
  | pddl_function_decl_list "(" TK_IDENTIFIER pddl_formal_parameters_list ")"
      { DO(builder->declare_function($3, $4, @2.first_line)); }
  ;

pddl_formal_parameters_list:
    %empty                                          { $$ = 0; }
  | pddl_formal_parameters_list pddl_parameter_list "-" TK_IDENTIFIER
      { DO($$ = $1 + builder->parameters($2, $4)); }
  | pddl_formal_parameters_list pddl_parameter_list "-" "(" "either" pddl_either_list ")"
      { DO($$ = $1 + builder->parameters_of_either($2, $6, @5.first_line)); }
  ;
pddl_parameter_list:
    TK_PARAMETER                                    { DO($$ = builder->listed_name($1, @1.first_line)); }
  | pddl_parameter_list TK_PARAMETER                { DO($$ = $1 + builder->listed_name($2, @2.first_line)); }
  ;
pddl_either_list:
    %empty                                          { $$ = 0; }
  | pddl_either_list TK_IDENTIFIER                  { DO($$ = $1 + builder->listed_name($2, @2.first_line)); }
  ;

pddl_durative_action:
    "(" ":durative-action" TK_IDENTIFIER pddl_action_parameters pddl_action_body ")"
      { DO(builder->declare_action($3, $4, @$.first_line)); }
  ;
pddl_uncontrollable_durative_action:
    "(" ":uncontrollable-durative-action" TK_IDENTIFIER pddl_action_parameters pddl_action_body ")"
      { DO(builder->declare_uncontrollable_action($3, $4, @$.first_line)); }
  ;
pddl_action_parameters:
    ":parameters" "(" pddl_formal_parameters_list ")"
                                                    { $$ = $3; }
  ;
pddl_action_body: pddl_duration pddl_condition pddl_effect;
pddl_duration: ":duration" pddl_expression          { DO(builder->keep_duration($2, @$.first_line)); };
pddl_condition: ":condition" pddl_expression        { DO(builder->keep_condition($2, @$.first_line)); };
pddl_effect: ":effect" pddl_expression              { DO(builder->keep_effect($2, @$.first_line)); };

/* Problem. */

pddl_problem: "(" "problem" TK_IDENTIFIER ")" pddl_problem_body;
pddl_problem_body:
    %empty
  | pddl_problem_body pddl_problem_element
  ;
pddl_problem_element:
    "(" ":domain" TK_IDENTIFIER ")"
  | "(" ":objects" pddl_typed_names_list ")"        { DO(builder->declare_objects($3)); }
  | "(" ":init" pddl_init_expression_list ")"
  | "(" ":goal" pddl_expression ")"                 { DO(builder->add_goal($3, @3.first_line)); }
  | "(" ":metric" "minimize" "(" "total-time" ")" ")"
  ;

pddl_init_expression_list:
    %empty
  | pddl_init_expression_list pddl_expression       { DO(builder->add_initial_value($2, @2.first_line)); }
  | pddl_init_expression_list "(" "at" pddl_number pddl_expression ")"
      { DO(builder->add_initial_value(builder->at($4, $5), @2.first_line)); }
  ;

/* Expressions. */

pddl_number:
    TK_RATIONAL                                     { DO($$ = builder->number($1)); }
  | TK_NATURAL                                      { DO($$ = builder->number($1)); }
  ;
pddl_expression:
    "(" "and" pddl_expression_list ")"              { DO($$ = builder->conjunction($3)); }
  | "(" "or" pddl_expression_list ")"               { DO($$ = builder->disjunction($3)); }
  | "(" "not" pddl_expression ")"                   { DO($$ = builder->factory().make_not($3)); }
  | "(" "at start" pddl_expression ")"              { DO($$ = builder->at_start($3)); }
  | "(" "at end" pddl_expression ")"                { DO($$ = builder->at_end($3)); }
  | "(" "over all" pddl_expression ")"              { DO($$ = builder->over_all($3)); }
  | "(" "=" pddl_expression pddl_expression ")"     { DO($$ = builder->factory().make_equals($3, $4)); }
  | "(" "<=" pddl_expression pddl_expression ")"    { DO($$ = builder->factory().make_le($3, $4)); }
  | "(" ">=" pddl_expression pddl_expression ")"    { DO($$ = builder->factory().make_ge($3, $4)); }
  | "(" "<" pddl_expression pddl_expression ")"     { DO($$ = builder->factory().make_lt($3, $4)); }
  | "(" ">" pddl_expression pddl_expression ")"     { DO($$ = builder->factory().make_gt($3, $4)); }
  | "(" "+" pddl_expression_list ")"                { DO($$ = builder->sum($3)); }
  | "(" "*" pddl_expression_list ")"                { DO($$ = builder->product($3)); }
  | "(" "-" pddl_expression pddl_expression ")"     { DO($$ = builder->factory().make_minus($3, $4)); }
  | "(" "/" pddl_expression pddl_expression ")"     { DO($$ = builder->factory().make_div($3, $4)); }
  | "true"                                          { DO($$ = builder->factory().make_boolean_constant(true)); }
  | "false"                                         { DO($$ = builder->factory().make_boolean_constant(false)); }
  | TK_PARAMETER                                    { DO($$ = builder->symbol($1, @1.first_line)); }
  | TK_IDENTIFIER                                   { DO($$ = builder->symbol($1, @1.first_line)); }
  | "?duration"                                     { DO($$ = builder->factory().make_duration_anchor()); }
  | pddl_number
  | "(" TK_IDENTIFIER pddl_expression_list ")"      { DO($$ = builder->application($2, $3, @2.first_line)); }
  ;
pddl_expression_list:
    %empty                                          { $$ = 0; }
  | pddl_expression_list pddl_expression            { DO($$ = $1 + builder->list_item($2, @2.first_line)); }
  ;
