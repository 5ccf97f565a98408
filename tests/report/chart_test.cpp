#include "report/chart.h"

#include <gtest/gtest.h>

#include <sstream>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "report/answer.h"
#include "report/markup.h"
#include "test_helpers.h"

namespace zorvel::report {

namespace {

constexpr const char* lamp =
    "type Lamp with { fluent boolean lit;\n"
    "  action light() { duration := 2; [start] not lit; [end] lit := true; }; };\n"
    "instance Lamp red, blue;\nfluent float[0.0, 10.0] power := 10.0;\n"
    "[start] { red.lit := false; blue.lit := false; };\n"
    "action wait(Lamp l) { duration := 3; [end] power := power - 4.0; };\n[end] red.lit;\n";

struct Planned {
  Planned(const std::string& problem_text, const std::string& plan_text) {
    std::istringstream text(problem_text), steps(plan_text);
    problem = AnmlParser(env).parse(text, "lamp.anml");
    plan = TTPParser(env, problem).parse(steps);
  }
  std::string html(ChartOptions options = {}) { return plan_to_html(problem, plan, options); }

  Environment env;
  model::ProblemPtr problem;
  std::shared_ptr<TimeTriggeredPlan> plan;
};

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
  return times;
}
bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// Whether every element of an XML or HTML text is closed in its order, and no attribute is left open.
bool is_balanced(const std::string& text) {
  std::vector<std::string> open;
  for (std::size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at)) {
    std::size_t end = at + 1;
    for (bool quoted = false; end < text.size() && (quoted || text[end] != '>'); ++end)
      if (text[end] == '"') quoted = !quoted;
    if (end >= text.size()) return false;
    const std::string tag = text.substr(at + 1, end - at - 1);
    at = end;
    const std::string name =
        tag.substr(tag[0] == '/' ? 1 : 0, tag.find_first_of(" \n", 1) - (tag[0] == '/' ? 1 : 0));
    if (tag[0] == '!' || name == "meta" || tag.back() == '/') continue;
    if (tag[0] != '/') {
      open.push_back(name);
    } else {
      if (open.empty() || open.back() != name) return false;
      open.pop_back();
    }
  }
  return open.empty();
}

TEST(Markup, KeepsAnyTextInItsPlace) {
  const struct {
    std::string text, result;
  } cases[] = {{"a<b>&\"'", "a&lt;b&gt;&amp;&quot;&#39;"},
               {"größe 日本", "größe 日本"},
               {"\xff\xc3(", "\xEF\xBF\xBD\xEF\xBF\xBD("},
               {std::string("a\0b\x1b\n", 5),
                "a\xEF\xBF\xBD"
                "b\xEF\xBF\xBD\n"},
               {"\xed\xa0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
               {"\xc0\xbc", "\xEF\xBF\xBD\xEF\xBF\xBD"}};
  for (const auto& test : cases) EXPECT_EQ(escaped(test.text), test.result);
  EXPECT_EQ(shortened("größe", 5), "größe");
  EXPECT_EQ(shortened("größer", 5), "größ…");
  EXPECT_EQ(shortened("größer", 1), "");
  EXPECT_EQ(coordinate(1.0 / 3), "0.33");
  EXPECT_EQ(coordinate(-0.001), "0");
}

TEST(Chart, ShowsStepsValuesAndTheVerdict) {
  Planned planned(lamp, "0: red.light() [2]\n1: wait(blue) [3]\n4.5: wait(blue) [3]\n");
  const std::string page = planned.html();
  EXPECT_TRUE(is_balanced(page));
  EXPECT_TRUE(has(page, "lamp.anml"));
  EXPECT_TRUE(has(page, ">valid<"));
  EXPECT_FALSE(has(page, "class=\"b bad\"") || has(page, "fails at"));
  // A tooltip, with what the step needs and does, and its row of the table.
  EXPECT_TRUE(has(page, "wait(blue)\n1 to 4 (duration 3)\neffects\n  [end] (power := (power - 4.0))"))
      << page;
  EXPECT_TRUE(has(page, "<td>4.5</td><td>7.5</td><td>3</td><td><code>wait(blue)</code></td>"));
  // The values along the plan, also of a fluent of an object.
  EXPECT_TRUE(has(page, "power = 6.0\nfrom 4 to 7.5")) << page;
  EXPECT_TRUE(has(page, "red.lit = true\nfrom 2")) << page;
  // Nothing from elsewhere.
  EXPECT_EQ(count(page, "http"), 2U) << "an address beside the name space of SVG, and http-equiv";
  EXPECT_FALSE(has(page, "<script") || has(page, "src=") || has(page, "href"));

  const std::string by_object = plan_to_svg(planned.problem, planned.plan, {ChartOptions::Rows::objects, {}});
  EXPECT_TRUE(is_balanced(by_object));
  EXPECT_TRUE(has(by_object, "<title>red</title>") && has(by_object, "<title>blue</title>"));
  EXPECT_TRUE(has(planned.html({ChartOptions::Rows::actions, {"lit"}}), "red.lit = true"));
  const std::string chosen = planned.html({ChartOptions::Rows::actions, {"power"}});
  EXPECT_TRUE(has(chosen, "power = 6") && !has(chosen, "red.lit = true"));
  EXPECT_TRUE(has(error_of([&] {
                    planned.html({ChartOptions::Rows::actions, {"powder"}});
                  }),
                  "The problem has no fluent 'powder'"));
}

TEST(Chart, MarksTheStepAndTheMomentThatFail) {
  Planned planned(lamp, "0: red.light() [2]\n3: red.light() [2]\n6: wait(red) [3]\n");
  const std::string page = planned.html();
  EXPECT_TRUE(is_balanced(page));
  EXPECT_TRUE(has(page, ">invalid<"));
  EXPECT_EQ(count(page, "class=\"b bad\""), 1U);
  EXPECT_EQ(count(page, "<tr class=\"bad\"><td>2</td>"), 1U);
  EXPECT_TRUE(has(page, "fails at 3<")) << page;
  // What the validator refuses before it replays anything has a step and no moment.
  Planned malformed(lamp, "0: red.light() [2]\n0: wait(red) [3]\n");
  malformed.plan->add_step(std::make_shared<TimeTriggeredStep>(
      rational(1), malformed.problem->actions().at("wait"), std::vector<Node*>{}, rational(3)));
  const std::string refused = malformed.html();
  EXPECT_TRUE(has(refused, "needs 1 parameters") && !has(refused, "fails at"));
  EXPECT_EQ(count(refused, "class=\"b bad\""), 1U);
}

TEST(Chart, HoldsNamesOfEveryKindAndPlansOfEveryShape) {
  Environment env;
  auto& models = env.model_factory();
  const auto type = models.make_user_type("T");
  const std::vector<std::string> names = {"<img src=x onerror=alert(1)>", "\"quoted\" & 'so'", "größe-日本",
                                          "]]></title></svg><script>", "\xff\xfe"};
  std::vector<std::shared_ptr<model::InstanceImpl>> objects;
  for (const std::string& name : names) objects.push_back(models.make_instance(name, type));
  const auto parameter = std::make_shared<model::ParameterImpl>("x", type);
  const auto action = models.make_action("</style><b>", {}, false, {parameter}, {}, {});
  const auto problem = models.make_problem_instance({action}, {}, {}, objects, {type}, {}, {}, {});
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  for (std::size_t i = 0; i < objects.size(); ++i)
    plan->add_step(std::make_shared<TimeTriggeredStep>(
        rational(static_cast<long>(i)), action,
        std::vector<Node*>{env.expression_factory().make_instance_reference(objects[i])}, rational(20)));
  for (const auto rows : {ChartOptions::Rows::actions, ChartOptions::Rows::objects}) {
    const std::string page = plan_to_html(problem, plan, {rows, {}});
    EXPECT_TRUE(is_balanced(page));
    EXPECT_EQ(count(page, "<script") + count(page, "<img") + count(page, "<b>&lt;"), 0U);
    EXPECT_EQ(count(page, "\xff"), 0U);
    EXPECT_TRUE(has(page, "größe-日本"));
  }
  const auto empty = std::make_shared<TimeTriggeredPlan>(env);
  EXPECT_TRUE(is_balanced(plan_to_html(problem, empty, {})));
  // A moment, an age, and a time that no double holds.
  const rational age(integer(10).pow(400));
  for (const rational& time : {rational(0), rational(integer(1), integer(10).pow(400)), age})
    empty->add_step(std::make_shared<TimeTriggeredStep>(
        time, action, std::vector<Node*>{env.expression_factory().make_instance_reference(objects[0])},
        time));
  EXPECT_TRUE(is_balanced(plan_to_html(problem, empty, {})));
}

}  // namespace

}  // namespace zorvel::report
