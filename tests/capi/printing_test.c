/* Problems as texts, and transformed problems with the way back for plans. */
#include "check.h"

static const char* const lamp =
    "type Lamp with { fluent boolean lit; action turn(boolean to) { duration := 2.5; [end] lit := to; }; };\n"
    "instance Lamp l; [start] l.lit := false; goal [end] l.lit;\n";

static void texts(zorvel_env env) {
  zorvel_problem problem = zorvel_parse_anml_text(env, lamp, NULL);
  char* anml = zorvel_problem_get_text(problem, "anml");
  CHECK(anml != NULL && strstr(anml, "duration := 2.5;") != NULL);
  zorvel_problem again = zorvel_parse_anml_text(env, anml, NULL);
  CHECK_OWNED_TEXT(zorvel_problem_get_text(again, "anml"), anml);
  free(anml);

  char* pddl = zorvel_problem_get_pddl(problem);
  CHECK(pddl != NULL && strncmp(pddl, "Domain:\n(define (domain pddldomain)\n", 36) == 0);
  CHECK(strstr(pddl, ")\nProblem:\n(define (problem pddlproblem)\n") != NULL);
  CHECK_OWNED_TEXT(zorvel_problem_get_text(problem, "pddl"), pddl);
  free(pddl);
  char* standard = zorvel_problem_get_text(problem, "standard-pddl");
  CHECK(standard != NULL && strstr(standard, "(:goal") != NULL);
  free(standard);
  CHECK_ERROR(zorvel_problem_get_text(problem, "latex") == NULL,
              "InvalidParameterError: There is no form 'latex' of a problem");

  CHECK(zorvel_dump_pddl(problem, "printing.domain", "printing.problem") == 0);
  zorvel_problem read = zorvel_read_pddl(env, "printing.domain", "printing.problem");
  CHECK(zorvel_problem_is_error(read) == 0);
  CHECK(remove("printing.domain") == 0 && remove("printing.problem") == 0);
  CHECK_ERROR(zorvel_dump_pddl(problem, "printing.domain", "no/such/place") == -1,
              "InvalidParameterError: Unable to open file 'no/such/place' for writing!");
  CHECK(fopen("printing.domain", "r") == NULL);
  zorvel_problem_destroy(read);
  zorvel_problem_destroy(again);
  zorvel_problem_destroy(problem);
}

static void transformations(zorvel_env env) {
  const zorvel_problem nothing = {NULL};
  zorvel_problem problem = zorvel_parse_anml_text(env, lamp, NULL);
  const char* names[] = {"flattener", "action-grounder"};
  zorvel_transformation transformation = zorvel_problem_transform(problem, names, 2, nothing);
  CHECK(zorvel_transformation_is_error(transformation) == 0);
  zorvel_problem ground = zorvel_transformation_get_problem(transformation);
  CHECK(zorvel_problem_is_flat(ground) == 1 && zorvel_problem_is_flat(problem) == 0);
  zorvel_ttplan plan = zorvel_do_ftp_planning(ground);
  zorvel_ttplan mapped = zorvel_transformation_map_back_ttplan(transformation, plan);
  CHECK_OWNED_TEXT(zorvel_ttplan_get_exact_string(mapped), "0: l.turn(true) [5/2]\n");
  CHECK(zorvel_ttplan_validate(problem, mapped) == 1);
  zorvel_potplan order = zorvel_do_tsimple_planning(ground);
  zorvel_potplan mapped_order = zorvel_transformation_map_back_potplan(transformation, order);
  CHECK(zorvel_potplan_is_error(mapped_order) == 0);

  const char* bounder[] = {"bounder"};
  CHECK_ERROR(zorvel_transformation_is_error(zorvel_problem_transform(problem, bounder, 1, nothing)),
              "InvalidParameterError: The transformer 'bounder' needs a bounding problem");
  const char* unknown[] = {"flattener", "polisher"};
  CHECK_ERROR(zorvel_transformation_is_error(zorvel_problem_transform(problem, unknown, 2, nothing)),
              "InvalidParameterError: The transformer 'polisher' is not available");

  zorvel_problem flat = zorvel_problem_flatten(problem);
  CHECK(zorvel_problem_is_flat(flat) == 1);
  /* Only 1 is true. */
  zorvel_problem half = zorvel_problem_ground(flat, 2, 1), full = zorvel_problem_ground(flat, 1, 1);
  char* half_text = zorvel_problem_get_anml(half);
  char* full_text = zorvel_problem_get_anml(full);
  CHECK(strstr(half_text, "(_Lamp object)") != NULL && strstr(full_text, "(_Lamp object)") == NULL);
  free(half_text);
  free(full_text);
  zorvel_problem certain = zorvel_problem_temporal_uncertainty_compiler(flat);
  CHECK(zorvel_problem_has_temporal_uncertainty(certain) == 0);
  zorvel_problem_destroy(certain);
  zorvel_problem_destroy(half);
  zorvel_problem_destroy(full);
  zorvel_problem_destroy(flat);
  zorvel_potplan_destroy(mapped_order);
  zorvel_potplan_destroy(order);
  zorvel_ttplan_destroy(mapped);
  zorvel_ttplan_destroy(plan);
  zorvel_problem_destroy(ground);
  zorvel_transformation_destroy(transformation);
  zorvel_problem_destroy(problem);
}

int main(void) {
  zorvel_env env = zorvel_env_new();
  texts(env);
  transformations(env);
  zorvel_env_destroy(env);
  return check_result();
}
