#include "report/gantt.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "report/step_names.h"

namespace zorvel::report {

namespace {

class RowMaker {
 public:
  RowMaker(const model::ProblemInstanceImpl& problem, ChartOptions::Rows kind)
      : problem_(problem), kind_(kind) {}

  void add(const TimeTriggeredStep& step) {
    const StepNames names = names_of(step, problem_);
    const std::size_t color = colors_.try_emplace(step.action.get(), colors_.size()).first->second;
    const auto put = [&](const std::string& row, const std::string& label) {
      const auto [number, is_new] = numbers_.try_emplace(row, rows_.size());
      if (is_new) rows_.push_back({row, {}});
      rows_[number->second].bars.push_back({&step, color, static_cast<double>(step.start),
                                            static_cast<double>(step.start + step.duration), 0, label});
    };
    std::vector<std::string> objects;
    if (kind_ == ChartOptions::Rows::objects) objects = objects_of(step, names);
    for (const std::string& object : objects) put(object, names.text());
    if (!objects.empty()) return;
    // The row says the action; the bar says the rest.
    const std::string text = names.text();
    const std::string row = names.object.empty() ? names.action : names.object + '.' + names.action;
    put(row,
        names.arguments.empty() ? names.action : text.substr(row.size() + 1, text.size() - row.size() - 2));
  }

  std::vector<Row> take() {
    for (Row& row : rows_) assign_lanes(row);
    return std::move(rows_);
  }

 private:
  static std::vector<std::string> objects_of(const TimeTriggeredStep& step, const StepNames& names) {
    std::vector<std::string> objects;
    if (!names.object.empty()) objects.push_back(names.object);
    for (Node* argument : step.parameters) {
      if (argument->kind() != NodeKind::INSTANCE_REFERENCE) continue;
      std::string object = model::to_anml(argument);
      if (std::ranges::find(objects, object) == objects.end()) objects.push_back(std::move(object));
    }
    return objects;
  }

  /// Puts each bar into the first lane that is free at its start.
  static void assign_lanes(Row& row) {
    std::vector<double> ends;
    for (Bar& bar : row.bars) {
      const auto lane = std::ranges::find_if(ends, [&](double end) { return end <= bar.start; });
      bar.lane = static_cast<std::size_t>(lane - ends.begin());
      // A step without length still takes its place.
      const double end = std::max(bar.end, std::nextafter(bar.start, bar.start + 1));
      if (lane == ends.end())
        ends.push_back(end);
      else
        *lane = end;
    }
    row.lanes = std::max<std::size_t>(ends.size(), 1);
  }

  const model::ProblemInstanceImpl& problem_;
  ChartOptions::Rows kind_;
  std::vector<Row> rows_;
  std::unordered_map<std::string, std::size_t> numbers_;
  std::unordered_map<const model::ActionImpl*, std::size_t> colors_;
};

}  // namespace

std::vector<Row> lay_out_rows(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                              ChartOptions::Rows kind) {
  RowMaker maker(problem, kind);
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) maker.add(*step);
  return maker.take();
}

}  // namespace zorvel::report
