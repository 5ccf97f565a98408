#include "report/chart.h"

#include "model/problem_source.h"
#include "report/markup.h"
#include "report/picture.h"
#include "report/step_names.h"
#include "transformers/plan_quality.h"

namespace zorvel::report {

namespace {

constexpr const char* head =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
    "<meta name=\"viewport\" content=\"width=device-width\">"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">"
    "<title>Plan</title><style>"
    "body{font:15px/1.5 system-ui,'Segoe UI',Roboto,'Helvetica Neue',Arial,sans-serif;color:#1f2937;"
    "background:#f3f4f6;margin:0}"
    "main{max-width:1280px;margin:0 auto;padding:28px 24px 60px}"
    "h1{font-size:22px;margin:0 0 4px;overflow-wrap:anywhere}h2{font-size:17px;margin:28px 0 10px}"
    ".sub{color:#6b7280;margin:0 0 18px;overflow-wrap:anywhere}"
    ".badge{display:inline-block;border-radius:999px;padding:2px 12px;font-size:13px;font-weight:600;"
    "margin-left:10px;vertical-align:3px}"
    ".ok{background:#dcfce7;color:#166534}.no{background:#fee2e2;color:#b91c1c}"
    ".facts{display:flex;gap:12px;flex-wrap:wrap;margin:0 0 18px;padding:0;list-style:none}"
    ".facts li{background:#fff;border:1px solid #e5e7eb;border-radius:8px;padding:8px 16px}"
    ".facts b{display:block;font-size:19px}.facts span{color:#6b7280;font-size:13px}"
    ".why{background:#fef2f2;border:1px solid #fca5a5;border-left:5px solid #dc2626;color:#991b1b;"
    "border-radius:8px;padding:10px 16px;margin:0 0 18px;overflow-wrap:anywhere}"
    ".card{background:#fff;border:1px solid #e5e7eb;border-radius:10px;overflow-x:auto}"
    "table{border-collapse:collapse;width:100%;font-variant-numeric:tabular-nums}"
    "th,td{padding:6px 14px;text-align:right;border-bottom:1px solid #f0f1f3}"
    "th{font-size:13px;color:#6b7280;font-weight:600;background:#fafafa}"
    "th:last-child,td:last-child{text-align:left;width:70%}tr:last-child td{border-bottom:0}"
    "tr.bad td{background:#fee2e2;color:#b91c1c;font-weight:600}code{font-size:14px}"
    "</style></head><body><main>\n";

std::string fact(const std::string& value, const char* name) {
  return "<li><b>" + value + "</b><span>" + name + "</span></li>";
}

std::string title_of(const model::ProblemInstanceImpl& problem) {
  std::string title;
  if (problem.source() != nullptr)
    for (const std::string& file : problem.source()->files) {
      if (file.empty()) continue;
      const std::size_t slash = file.find_last_of('/');
      title += (title.empty() ? "" : ", ") + (slash == std::string::npos ? file : file.substr(slash + 1));
    }
  return title;
}

std::string table_of(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                     const TimeTriggeredStep* failing) {
  std::string rows;
  std::size_t number = 0;
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) {
      const StepNames names = names_of(*step, problem);
      rows += step.get() == failing ? "<tr class=\"bad\"><td>" : "<tr><td>";
      rows += std::to_string(++number) + "</td><td>" + time_text(time) + "</td><td>" +
              time_text(time + step->duration) + "</td><td>" +
              (names.is_instantaneous ? "" : time_text(step->duration)) + "</td><td><code>" +
              escaped(names.text()) + "</code></td></tr>\n";
    }
  return "<h2>Steps</h2>\n<div class=\"card\"><table><thead><tr><th>#</th><th>start</th><th>end</th>"
         "<th>duration</th><th>action</th></tr></thead><tbody>\n" +
         rows + "</tbody></table></div>\n";
}

}  // namespace

std::string plan_to_svg(const model::ProblemPtr& problem, const std::shared_ptr<TimeTriggeredPlan>& plan,
                        const ChartOptions& options) {
  require_fluents(*problem, options.fluents);
  ReplayedPlan replayed = replay_plan(problem, plan);
  const auto histories = chosen_histories(std::move(replayed.histories), options.fluents);
  return draw(*problem, *plan, replayed.verdict, histories, options.rows);
}

std::string plan_to_html(const model::ProblemPtr& problem, const std::shared_ptr<TimeTriggeredPlan>& plan,
                         const ChartOptions& options) {
  require_fluents(*problem, options.fluents);
  ReplayedPlan replayed = replay_plan(problem, plan);
  const Verdict& verdict = replayed.verdict;
  const std::size_t changed = replayed.histories.size();
  const auto histories = chosen_histories(std::move(replayed.histories), options.fluents);
  std::string page = head;
  page += "<h1>Plan<span class=\"badge ";
  page += verdict.is_valid ? "ok\">valid" : "no\">invalid";
  page += "</span></h1>\n<p class=\"sub\">" + escaped(title_of(*problem)) + "</p>\n<ul class=\"facts\">" +
          fact(std::to_string(plan->size()), plan->size() == 1 ? "step" : "steps") +
          fact(time_text(model::makespan(*plan)), "makespan");
  if (const auto cost = model::action_cost(problem, *plan)) page += fact(time_text(*cost), "cost");
  page += "</ul>\n";
  if (!verdict.is_valid)
    page += "<p class=\"why\"><b>The plan is invalid.</b> " + escaped(verdict.reason) + "</p>\n";
  page += "<div class=\"card\">" + draw(*problem, *plan, verdict, histories, options.rows) + "</div>\n";
  if (histories.size() < changed && options.fluents.empty())
    page += "<p class=\"sub\">Of " + std::to_string(changed) + " fluents that change, the first " +
            std::to_string(histories.size()) + " are shown.</p>\n";
  page += table_of(*problem, *plan, verdict.step);
  return page + "</main></body></html>\n";
}

}  // namespace zorvel::report
