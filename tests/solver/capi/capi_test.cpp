#include <gmp.h>

#include <cstdlib>
#include <cstring>

#include "solver/capi/solver_script.h"
#include "solver/config/option_table.h"
#include "solver/config/options.h"

namespace {

TEST(CInterface, EveryOptionTakesItsDefaultAndRefusesOtherText) {
  const vesk_config cfg = vesk_create_config();
  for (const vesk::OptionInfo& option : vesk::list_options()) {
    const std::string key(option.key);
    EXPECT_EQ(vesk_set_option(cfg, key.c_str(), option.default_value.c_str()), 0) << key;
    char* value = vesk_get_option(cfg, key.c_str());
    EXPECT_EQ(value, option.default_value);
    vesk_free(value);
    if (option.type != 't') {
      EXPECT_EQ(vesk_set_option(cfg, key.c_str(), "yes"), -1) << key;
      EXPECT_EQ(vesk_set_option(cfg, key.c_str(), ""), -1) << key;
    }
  }
  EXPECT_EQ(vesk_set_option(cfg, "theory.bv.anything", "at all"), 0);
  EXPECT_EQ(vesk_set_option(cfg, "theory.la.nothing", "1"), -1);
  EXPECT_EQ(vesk_set_option(cfg, "dpll.preprocessor.mode", "+0"), 0);
  EXPECT_EQ(vesk_set_option(cfg, "dpll.preprocessor.mode", "1"), -1);
  EXPECT_STREQ(vesk_last_error_message({nullptr}),
               "not supported, only the default '0' is, of option: dpll.preprocessor.mode, value: 1, "
               "command-line: -dpll.preprocessor.mode=1");
  EXPECT_EQ(vesk_set_option(cfg, "dpll.restart_initial", "17"), 0);
  char* initial = vesk_get_option(cfg, "dpll.restart_initial");
  EXPECT_STREQ(initial, "17");
  vesk_free(initial);
  EXPECT_EQ(vesk_get_option(cfg, "no.such"), nullptr);
  EXPECT_EQ(vesk_set_option(cfg, "opt.priority", "lex"), 0);
  EXPECT_EQ(vesk_set_option(cfg, "opt.soft_timeout", "true"), -1);
  EXPECT_NE(std::string(vesk_last_error_message({nullptr})).find("nothing serves it yet"), std::string::npos);
  EXPECT_EQ(vesk_set_option(cfg, "opt.priority", "le"), -1);
  EXPECT_EQ(vesk_set_option(cfg, "opt.bin.pivot_position", "0"), -1);
  EXPECT_EQ(vesk_set_option(cfg, "opt.bin.pivot_position", "1.01"), -1);
  EXPECT_EQ(vesk_set_option(cfg, "opt.bin.pivot_position", "0.50"), 0);
  EXPECT_EQ(vesk_set_option(cfg, "opt.asoft.circuit_limit", "+20"), 0);
  EXPECT_EQ(vesk_set_option(cfg, "opt.asoft.circuit_limit", "-1"), -1);
  EXPECT_EQ(vesk_set_option(cfg, "random_seed", "99999999999"), -1);
  EXPECT_EQ(vesk_set_option(cfg, "no.such.option", "1"), -1);
  EXPECT_STREQ(vesk_last_error_message({nullptr}),
               "unknown option: no.such.option, value: 1, command-line: -no.such.option=1");
  EXPECT_EQ(vesk_set_option({nullptr}, "verbosity", "0"), -1);
  EXPECT_EQ(vesk_set_option(cfg, nullptr, "0"), -1);
  vesk_destroy_config(cfg);
}

TEST(CInterface, WhatNoOptionServesIsRefusedByName) {
  vesk::Configuration config;
  for (const vesk::OptionRow& row : vesk::option_table()) {
    const bool is_stored =
        row.as_int != nullptr || row.as_bool != nullptr || row.as_real != nullptr || row.as_text != nullptr;
    EXPECT_TRUE(is_stored || row.only != nullptr) << row.key << " is taken without effect";
    if (row.only == nullptr) continue;
    std::string value = "some text";
    if (row.type == 'b') value = *row.only == 't' ? "false" : "true";
    if (row.type == 'i')
      value = std::to_string(std::atoi(row.only) + (std::atoi(row.only) > row.low ? -1 : 1));
    if (row.type == 'f') value = "0.25";
    if (row.choices != nullptr)
      value = std::string(row.choices).substr(std::string(row.choices).rfind(' ') + 1);
    if (value == row.only) value = std::string(row.choices).substr(0, std::string(row.choices).find(' '));
    try {
      set_option(config, row.key, value);
      ADD_FAILURE() << row.key << " took " << value;
    } catch (const vesk::OptionError& error) {
      EXPECT_NE(error.get_msg().find(row.key), std::string::npos) << error.get_msg();
      EXPECT_NE(error.get_msg().find("only the default"), std::string::npos) << error.get_msg();
    }
  }
}

TEST(CInterface, ConfigurationTextsHaveSections) {
  const char* text = "# comment\nverbosity = 1\n[fast]\n dpll.restart_strategy = 3\n[other]\nverbosity = 0\n";
  const vesk_config cfg = vesk_parse_config(text, "fast");
  EXPECT_NE(cfg.repr, nullptr);
  vesk_destroy_config(cfg);
  EXPECT_EQ(vesk_parse_config("verbosity 1\n", nullptr).repr, nullptr);
  EXPECT_STREQ(vesk_last_error_message({nullptr}), "bad format of configuration file, line 1: verbosity 1");
  EXPECT_EQ(vesk_parse_config("a = 1\nverbosity = 9\n", nullptr).repr, nullptr);
  EXPECT_EQ(std::string(vesk_last_error_message({nullptr}))
                .find("2 error(s) while parsing the configuration file:"),
            0u);
  EXPECT_EQ(vesk_parse_config_file("/no/such/file", nullptr).repr, nullptr);
}

TEST(CInterface, NumbersComeFromGmpToo) {
  SolverScript s;
  mpq_t value;
  mpq_init(value);
  for (const auto& [text, expected] : std::vector<std::pair<const char*, const char*>>{
           {"6/-4", "-3/2"},
           {"10/5", "2"},
           {"0/7", "0"},
           {"36893488147419103232/3", "36893488147419103232/3"}}) {
    ASSERT_EQ(mpq_set_str(value, text, 10), 0);
    EXPECT_EQ(SolverScript::text(vesk_make_mpq_number(s.env, value)), expected);
    EXPECT_EQ(vesk_make_mpq_number(s.env, value).repr, s.num(expected).repr);
  }
  mpq_set_str(value, "1/0", 10);
  EXPECT_EQ(vesk_make_mpq_number(s.env, value).repr, nullptr);
  EXPECT_EQ(vesk_make_mpq_number(s.env, nullptr).repr, nullptr);
  mpq_clear(value);
}

TEST(CInterface, MakersOfManyArgumentsAndMachineNumbers) {
  SolverScript s;
  const std::vector<vesk_term> b{s.boolean("a"), s.boolean("b"), s.boolean("c")};
  const std::vector<vesk_term> x{s.real("x"), s.real("y"), s.real("z")};
  const auto and_n = [&](const std::vector<vesk_term>& t) {
    return vesk_make_and_n(s.env, t.data(), t.size());
  };
  EXPECT_EQ(and_n(b).repr, s.conj(s.conj(b[0], b[1]), b[2]).repr);
  EXPECT_EQ(and_n({b[1]}).repr, b[1].repr);
  EXPECT_EQ(vesk_term_is_true(s.env, and_n({})), 1);
  EXPECT_EQ(vesk_term_is_false(s.env, vesk_make_or_n(s.env, nullptr, 0)), 1);
  EXPECT_EQ(vesk_make_or_n(s.env, b.data(), 2).repr, s.disj(b[0], b[1]).repr);
  EXPECT_EQ(vesk_make_plus_n(s.env, x.data(), 3).repr, s.plus(s.plus(x[0], x[1]), x[2]).repr);
  EXPECT_EQ(vesk_make_plus_n(s.env, nullptr, 0).repr, s.num("0").repr);
  for (const vesk_term failed : {and_n({x[0]}), and_n({b[0], x[0]}), vesk_make_plus_n(s.env, b.data(), 1),
                                 vesk_make_or_n(s.env, nullptr, 1), and_n({b[0], {nullptr}}),
                                 vesk_make_distinct_n(s.env, std::vector{x[0], b[0]}.data(), 2)})
    EXPECT_EQ(failed.repr, nullptr);
  s.add(vesk_make_distinct_n(s.env, x.data(), 3));
  for (const vesk_term t : x) s.add(s.disj(s.eq(t, s.num("-9223372036854775807")), s.eq(t, s.num("1/3"))));
  EXPECT_EQ(s.solve(), 0);
  vesk_reset_env(s.env);
  s.add(vesk_make_distinct_n(s.env, b.data(), 2));
  EXPECT_EQ(s.solve(), 1);
  EXPECT_NE(s.value(b[0]), s.value(b[1]));
  int64_t whole = 5;
  double number = 5;
  EXPECT_EQ(vesk_term_to_int64(s.env, vesk_make_int64_number(s.env, -9223372036854775807), &whole), 0);
  EXPECT_EQ(whole, -9223372036854775807);
  EXPECT_EQ(vesk_term_to_int64(s.env, s.num("1/2"), &whole), -1);
  EXPECT_EQ(vesk_term_to_int64(s.env, s.num("9223372036854775808"), &whole), -1);
  EXPECT_EQ(vesk_term_to_int64(s.env, b[0], &whole), -1);
  EXPECT_EQ(whole, -9223372036854775807);
  EXPECT_EQ(vesk_term_to_int64(s.env, vesk_make_int64_number(s.env, INT64_MIN), &whole), 0);
  EXPECT_EQ(whole, INT64_MIN);
  EXPECT_EQ(vesk_term_to_double(s.env, s.num("-1/3"), &number), 0);
  EXPECT_EQ(number, -1.0 / 3);
  EXPECT_EQ(vesk_term_to_double(s.env, b[0], &number), -1);
  uint64_t checks = 0;
  EXPECT_EQ(vesk_get_statistic(s.env, "checks", &checks), 0);
  EXPECT_EQ(checks, 2u);
  EXPECT_EQ(vesk_get_statistic(s.env, "no such thing", &checks), -1);
}

TEST(CInterface, FailuresGiveTheirValueAndAText) {
  SolverScript s;
  const vesk_term b = s.boolean("b"), x = s.real("x"), none{nullptr};
  EXPECT_EQ(s.error(), "");
  const vesk_decl f = s.function("f", {s.int_type()}, s.real_type());
  const vesk_decl nothing{nullptr};
  const struct {
    const char* what;
    bool failed;
  } cases[] = {
      {"ite over Booleans", s.ite(b, b, b).repr == nullptr},
      {"equality of Booleans", vesk_make_equal(s.env, b, b).repr == nullptr},
      {"ill-typed and", s.conj(b, x).repr == nullptr},
      {"mixed eq", s.eq(b, x).repr == nullptr},
      {"null argument", s.conj(b, none).repr == nullptr},
      {"null environment", vesk_make_true({nullptr}).repr == nullptr},
      {"constant of a function", vesk_make_constant(s.env, f).repr == nullptr},
      {"rational for an integer", s.apply(f, {x}).repr == nullptr},
      {"null symbol", vesk_make_uf(s.env, nothing, &x).repr == nullptr},
      {"null arguments", vesk_make_uf(s.env, f, nullptr).repr == nullptr},
      {"no number", s.num("1x").repr == nullptr},
      {"empty number", s.num("").repr == nullptr},
      {"zero denominator", s.num("1/0").repr == nullptr},
      {"redeclaration", vesk_declare_function(s.env, "b", s.real_type()).repr == nullptr},
      {"reserved name", vesk_declare_function(s.env, ".b", s.real_type()).repr == nullptr},
      {"name of a number", vesk_declare_function(s.env, "-3", s.int_type()).repr == nullptr},
      {"modulus", vesk_make_int_modular_congruence(s.env, "0", s.num("1"), s.num("2")).repr == nullptr},
      {"assert of a number", vesk_assert_formula(s.env, x) == -1},
      {"assert of null", vesk_assert_formula(s.env, none) == -1},
      {"pop without a push", vesk_pop_backtrack_point(s.env) == -1},
      {"assumption", s.solve({x}) == -1},
      {"no such argument", vesk_term_get_arg(b, 0).repr == nullptr},
      {"unknown symbol", vesk_find_decl(s.env, "nobody").repr == nullptr},
      {"null in function type", vesk_get_function_type(s.env, nullptr, 1, s.real_type()).repr == nullptr},
      {"environment of nothing", vesk_create_env({nullptr}).repr == nullptr},
  };
  for (const auto& c : cases) EXPECT_TRUE(c.failed) << c.what;
  EXPECT_EQ(vesk_find_decl(s.env, "nobody").repr, nullptr);
  EXPECT_EQ(s.error(), "No symbol with name `nobody'");
  EXPECT_EQ(vesk_reset_env(s.env), 0);
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(s.error(), "No symbol with name `nobody'") << "a success must leave the text alone";
  EXPECT_EQ(vesk_term_id(none), 0u);
  EXPECT_GT(vesk_term_id(b), 0u);
  EXPECT_EQ(vesk_term_repr(none), nullptr);
  vesk_destroy_env({nullptr});
  vesk_destroy_config({nullptr});
}

TEST(CInterface, NumbersAndTypesReadAsPromised) {
  SolverScript s;
  const struct {
    const char* in;
    const char* out;
    bool integer;
  } numbers[] = {{"007", "7", true},       {"-0", "0", true},     {"4/2", "2", true},
                 {"0.5", "1/2", false},    {"1e3", "1000", true}, {"-3/6", "-1/2", false},
                 {"1e-3", "1/1000", false}};
  for (const auto& n : numbers) {
    const vesk_term term = s.num(n.in);
    EXPECT_EQ(SolverScript::text(term), n.out);
    EXPECT_EQ(vesk_is_integer_type(s.env, vesk_term_get_type(term)), n.integer) << n.in;
    EXPECT_EQ(vesk_is_rational_type(s.env, vesk_term_get_type(term)), !n.integer) << n.in;
  }
  std::string digits(10000, '7');
  EXPECT_EQ(SolverScript::text(s.num(digits.c_str())), digits);
  const vesk_type simple = vesk_get_simple_type(s.env, "T");
  EXPECT_EQ(vesk_type_equals(simple, vesk_get_simple_type(s.env, "T")), 1);
  const vesk_type params[] = {simple, s.int_type()};
  char* text = vesk_type_repr(vesk_get_function_type(s.env, params, 2, s.bool_type()));
  EXPECT_STREQ(text, "(-> T Int Bool)");
  vesk_free(text);
  EXPECT_EQ(vesk_is_integer_type(s.env, vesk_term_get_type(vesk_make_floor(s.env, s.real("r")))), 1);
}

TEST(CInterface, SharedEnvironmentsExchangeTermsAndCopiesCrossOver) {
  SolverScript s;
  const vesk_config cfg = vesk_create_config();
  const vesk_env sibling = vesk_create_shared_env(cfg, s.env);
  const vesk_env stranger = vesk_create_env(cfg);
  vesk_destroy_config(cfg);
  const vesk_term x = s.real("x");
  const vesk_decl f = s.function("f", {s.real_type()}, s.real_type());
  const vesk_term formula =
      s.conj(s.leq(s.ite(s.boolean("b"), x, s.num("1/3")), s.apply(f, {x})), s.neg(s.leq(x, s.num("2"))));
  s.add(formula);
  EXPECT_EQ(vesk_assert_formula(sibling, s.neg(formula)), 0);
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(vesk_solve(sibling), 1);
  EXPECT_EQ(vesk_gc_env(s.env, nullptr, 0), -1);
  const vesk_term copy = vesk_make_copy_from(stranger, formula, s.env);
  EXPECT_EQ(SolverScript::text(copy), SolverScript::text(formula));
  EXPECT_EQ(vesk_make_copy_from(s.env, copy, stranger).repr, formula.repr);
  EXPECT_EQ(vesk_assert_formula(stranger, copy), 0);
  EXPECT_EQ(vesk_solve(stranger), 1);
  const vesk_term two = s.num("2"), replaced = vesk_apply_substitution(s.env, formula, &x, &two, 1);
  EXPECT_EQ(vesk_term_is_false(s.env, replaced), 1) << SolverScript::text(replaced);
  vesk_destroy_env(stranger);
  vesk_destroy_env(sibling);
}

}  // namespace
