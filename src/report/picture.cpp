#include "report/picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "report/gantt.h"
#include "report/markup.h"
#include "report/step_details.h"
#include "report/step_names.h"
#include "transformers/plan_quality.h"

namespace zorvel::report {

namespace {

// In pixels. The text is drawn with 12 pixels, of which a character takes about seven.
constexpr double character_width = 6.9;
constexpr double bar_height = 24, lane_gap = 4, row_padding = 6;
constexpr double value_height = 22, curve_height = 46;
constexpr double axis_height = 28, heading_height = 34, margin = 16;
constexpr double least_plot_width = 1040, most_plot_width = 12000;
constexpr std::size_t longest_label = 32;

constexpr const char* style =
    "<style>"
    ".zorvel{font:12px system-ui,'Segoe UI',Roboto,'Helvetica Neue',Arial,sans-serif;fill:#1f2937}"
    ".zorvel .h{font-size:14px;font-weight:600}"
    ".zorvel .n{fill:#4b5563}"
    ".zorvel .r{fill:#f6f7f9}"
    ".zorvel .g{stroke:#e5e7eb}"
    ".zorvel .a{stroke:#9ca3af}"
    ".zorvel .c{fill:none;stroke:#2563eb;stroke-width:1.6}"
    ".zorvel .t{fill:#bfdbfe;stroke:#3b82f6}"
    ".zorvel .o{fill:#eef2ff;stroke:#a5b4fc}"
    ".zorvel .f{stroke:#dc2626;stroke-width:1.5;stroke-dasharray:5 3}"
    ".zorvel .ft{fill:#dc2626;font-weight:600}"
    ".zorvel g.b:hover rect,.zorvel g.b:hover path{stroke-width:2.5;filter:brightness(.96)}"
    ".zorvel .bad rect,.zorvel .bad path{fill:#fecaca;stroke:#dc2626;stroke-width:2.5}"
    "</style>";

/// Fill and outline of the bars of one action.
constexpr std::array<std::array<const char*, 2>, 10> colors{{{"#dbe9f9", "#3f7cc4"},
                                                             {"#fde4cc", "#d9771a"},
                                                             {"#d7efe8", "#2f9483"},
                                                             {"#ecdff3", "#8a58a8"},
                                                             {"#fbf0c4", "#b8930f"},
                                                             {"#e4f0d4", "#6a9a28"},
                                                             {"#fbdce2", "#c9506b"},
                                                             {"#d4eef7", "#1f8fb3"},
                                                             {"#e9e0d8", "#8b6a4f"},
                                                             {"#dfe3ea", "#5d6b82"}}};

std::string list(const char* heading, const std::vector<std::string>& lines) {
  std::string text = lines.empty() ? "" : std::string("\n") + heading;
  for (const std::string& line : lines) text += "\n  " + line;
  return text;
}

/// What is shown when the mouse rests on a step.
std::string hover_text(const TimeTriggeredStep& step, const model::ProblemInstanceImpl& problem,
                       const UserWords& words) {
  const StepDetails details = details_of(step, words);
  return names_of(step, problem).text() + '\n' + time_text(step.start) + " to " +
         time_text(step.start + step.duration) + " (duration " + time_text(step.duration) + ")" +
         list("conditions", details.conditions) + list("effects", details.effects);
}

class Picture {
 public:
  Picture(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan, const Verdict& verdict,
          const std::vector<FluentHistory>& histories, ChartOptions::Rows kind)
      : problem_(problem),
        words_(problem),
        verdict_(verdict),
        histories_(histories),
        kind_(kind),
        rows_(lay_out_rows(problem, plan, kind)),
        makespan_(model::makespan(plan)) {
    measure();
  }

  std::string draw() {
    double y = margin;
    heading(y, kind_ == ChartOptions::Rows::objects ? "Steps by object" : "Steps by action");
    const double top = y;
    std::string bars;
    for (const Row& row : rows_) {
      const double height = row_height(row);
      draw_row(bars, row, y, height);
      y += height;
    }
    axis(top, y);
    body_ += bars;
    double bottom = y;
    y += axis_height;
    if (!histories_.empty()) {
      heading(y, "Values over time");
      const double values_top = y;
      std::string values;
      for (const FluentHistory& history : histories_) draw_history(values, history, y);
      axis(values_top, y);
      body_ += values;
      bottom = y;
      y += axis_height;
    }
    if (verdict_.time) failing_line(static_cast<double>(*verdict_.time), top, bottom);
    const std::string width = coordinate(left_ + plot_width_ + 3 * margin), height = coordinate(y);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"zorvel\" width=\"" + width + "\" height=\"" +
           height + "\" viewBox=\"0 0 " + width + ' ' + height + "\">" + style + body_ + "</svg>\n";
  }

 private:
  static double row_height(const Row& row) {
    return static_cast<double>(row.lanes) * (bar_height + lane_gap) - lane_gap + 2 * row_padding;
  }

  void measure() {
    std::size_t label = 8, most_bars = 0;
    for (const Row& row : rows_) {
      label = std::max(label, length_of(row.label));
      most_bars = std::max(most_bars, row.bars.size());
    }
    for (const FluentHistory& history : histories_) label = std::max(label, length_of(history.fluent));
    left_ = margin + character_width * static_cast<double>(std::min(label, longest_label)) + 14;
    plot_width_ = std::clamp(56.0 * static_cast<double>(most_bars), least_plot_width, most_plot_width);
    double last = static_cast<double>(makespan_);
    if (verdict_.time) last = std::max(last, static_cast<double>(*verdict_.time));
    for (const FluentHistory& history : histories_)
      last = std::max(last, static_cast<double>(history.points.back().time));
    if (!(last > 0)) last = 1;
    last = std::clamp(last, 1e-200, 1e200);  // what lies beyond is drawn at the end
    // About a tick every ninety pixels, at a multiple of 1, 2 or 5.
    const double wanted = last / plot_width_ * 90;
    const int power = static_cast<int>(std::floor(std::log10(wanted)));
    const double unit = std::pow(10, power);
    const int factor = wanted <= unit ? 1 : wanted <= 2 * unit ? 2 : wanted <= 5 * unit ? 5 : 10;
    const rational scale(integer(10).pow(static_cast<unsigned long>(std::abs(power))));
    tick_ = power < 0 ? rational(factor) / scale : rational(factor) * scale;
    last_ = last;
  }
  double x_of(double time) const { return left_ + std::clamp(time / last_, 0.0, 1.0) * plot_width_; }

  void heading(double& y, const char* text) {
    y += heading_height - 12;
    put(body_, "<text class=\"h\" x=\"", coordinate(margin), "\" y=\"", coordinate(y), "\">", text,
        "</text>");
    y += 12;
  }

  template <class... Parts>
  static void put(std::string& out, const Parts&... parts) {
    (out.append(parts), ...);
  }

  void label(std::string& out, const std::string& text, double y) const {
    put(out, "<text class=\"n\" text-anchor=\"end\" x=\"", coordinate(left_ - 10), "\" y=\"", coordinate(y),
        "\">", escaped(shortened(text, longest_label)), "<title>", escaped(text), "</title></text>");
  }
  void band(std::string& out, double y, double height) {
    if (++bands_ % 2 == 0) return;
    put(out, "<rect class=\"r\" x=\"", coordinate(margin / 2), "\" y=\"", coordinate(y), "\" width=\"",
        coordinate(left_ + plot_width_ + margin), "\" height=\"", coordinate(height), "\"/>");
  }

  void draw_row(std::string& out, const Row& row, double y, double height) {
    band(body_, y, height);
    label(out, row.label, y + height / 2 + 4);
    for (const Bar& bar : row.bars) {
      const double top = y + row_padding + static_cast<double>(bar.lane) * (bar_height + lane_gap);
      draw_bar(out, bar, top);
    }
  }

  void draw_bar(std::string& out, const Bar& bar, double y) const {
    const double x = x_of(bar.start), width = x_of(bar.end) - x;
    const auto& color = colors[bar.color % colors.size()];
    put(out, "<g class=\"b", bar.step == verdict_.step ? " bad" : "", "\" fill=\"", color[0], "\" stroke=\"",
        color[1], "\"><title>", escaped(hover_text(*bar.step, problem_, words_)), "</title>");
    if (bar.end <= bar.start) {
      // A moment is a diamond around it.
      const std::string half = coordinate(bar_height / 2);
      put(out, "<path d=\"M", coordinate(x), ' ' + coordinate(y), "l7 ", half, "l-7 ", half, "l-7 -", half,
          "z\"/></g>");
      return;
    }
    put(out, "<rect rx=\"3\" x=\"", coordinate(x), "\" y=\"", coordinate(y), "\" width=\"",
        coordinate(std::max(width, 1.5)), "\" height=\"", coordinate(bar_height), "\"/>");
    const auto room = static_cast<std::size_t>(std::max(0.0, (width - 8) / character_width));
    const std::string text = shortened(bar.label, room);
    if (!text.empty() && (room >= 3 || text == bar.label))
      put(out, "<text fill=\"#1f2937\" stroke=\"none\" x=\"", coordinate(x + 5), "\" y=\"",
          coordinate(y + bar_height / 2 + 4), "\">", escaped(text), "</text>");
    out += "</g>";
  }

  void draw_history(std::string& out, const FluentHistory& history, double& y) {
    std::optional<double> least, most;
    bool is_numeric = true;
    for (const auto& point : history.points) {
      if (point.value.empty()) continue;
      is_numeric = is_numeric && point.number.has_value();
      if (!is_numeric) break;
      least = std::min(least.value_or(*point.number), *point.number);
      most = std::max(most.value_or(*point.number), *point.number);
    }
    const double height = is_numeric && least ? curve_height : value_height + lane_gap;
    band(body_, y, height);
    label(out, history.fluent, y + height / 2 + 4);
    if (is_numeric && least)
      draw_curve(out, history, y, *least, *most);
    else
      draw_segments(out, history, y + lane_gap / 2);
    y += height;
  }

  /// The time until which a point of a history holds.
  double end_of(const FluentHistory& history, std::size_t i) const {
    if (i + 1 < history.points.size()) return static_cast<double>(history.points[i + 1].time);
    // Where the plan fails, nothing more is known.
    return verdict_.time ? static_cast<double>(*verdict_.time) : last_;
  }
  std::string span_text(const FluentHistory& history, std::size_t i) const {
    std::string text =
        history.fluent + " = " + history.points[i].value + "\nfrom " + time_text(history.points[i].time);
    if (i + 1 < history.points.size()) text += " to " + time_text(history.points[i + 1].time);
    return text;
  }

  void draw_curve(std::string& out, const FluentHistory& history, double y, double least, double most) {
    const double inner = curve_height - 18;
    const auto height_of = [&](double value) {
      const double share = most > least ? (value - least) / (most - least) : 0.5;
      return y + 9 + inner * (1 - share);
    };
    std::string path, hovers;
    for (std::size_t i = 0; i < history.points.size(); ++i) {
      const FluentHistory::Point& point = history.points[i];
      if (!point.number) continue;
      const double x = x_of(static_cast<double>(point.time)), end = x_of(end_of(history, i));
      const std::string at = coordinate(height_of(*point.number));
      put(path, path.empty() ? "M" : "L", coordinate(x), " ", at, "H", coordinate(end));
      put(hovers, "<rect fill=\"transparent\" x=\"", coordinate(x), "\" y=\"", coordinate(y), "\" width=\"",
          coordinate(std::max(end - x, 1.0)), "\" height=\"", coordinate(curve_height), "\"><title>",
          escaped(span_text(history, i)), "</title></rect>");
    }
    put(out, "<path class=\"c\" d=\"", path, "\"/>", hovers);
    const auto scale = [&](double value) {
      put(out, "<text class=\"n\" font-size=\"10\" x=\"", coordinate(left_ + plot_width_ + 6), "\" y=\"",
          coordinate(height_of(value) + 4), "\">", coordinate(value), "</text>");
    };
    scale(most);
    if (most > least) scale(least);
  }

  void draw_segments(std::string& out, const FluentHistory& history, double y) const {
    for (std::size_t i = 0; i < history.points.size(); ++i) {
      const std::string& text = history.points[i].value;
      if (text.empty()) continue;
      const double x = x_of(static_cast<double>(history.points[i].time));
      const double width = x_of(end_of(history, i)) - x;
      if (width <= 0 && i + 1 < history.points.size()) continue;
      put(out, "<g class=\"b\"><title>", escaped(span_text(history, i)), "</title>");
      if (text == "false") {
        const std::string middle = coordinate(y + value_height / 2);
        put(out, "<line class=\"a\" x1=\"", coordinate(x), "\" x2=\"", coordinate(x + width), "\" y1=\"",
            middle, "\" y2=\"", middle, "\"/>");
      } else {
        put(out, "<rect class=\"", text == "true" ? "t" : "o", "\" x=\"", coordinate(x), "\" y=\"",
            coordinate(y + 3), "\" width=\"", coordinate(std::max(width, 1.5)), "\" height=\"",
            coordinate(value_height - 6), "\"/>");
        const auto room = static_cast<std::size_t>(std::max(0.0, (width - 8) / character_width));
        if (text != "true" && room >= 2)
          put(out, "<text font-size=\"11\" x=\"", coordinate(x + 4), "\" y=\"",
              coordinate(y + value_height / 2 + 4), "\">", escaped(shortened(text, room)), "</text>");
      }
      out += "</g>";
    }
  }

  /// The grid between two heights, and the times below it.
  void axis(double top, double bottom) {
    const auto ticks = static_cast<int>(std::floor(last_ / static_cast<double>(tick_) + 1e-9));
    for (int i = 0; i <= ticks; ++i) {
      const rational time = tick_ * rational(i);
      const std::string x = coordinate(x_of(static_cast<double>(time)));
      put(body_, "<line class=\"g\" x1=\"", x, "\" x2=\"", x, "\" y1=\"", coordinate(top), "\" y2=\"",
          coordinate(bottom + 4), "\"/><text class=\"n\" font-size=\"11\" text-anchor=\"middle\" x=\"", x,
          "\" y=\"", coordinate(bottom + 18), "\">", short_decimal_text(time, 12), "</text>");
    }
    put(body_, "<line class=\"a\" x1=\"", coordinate(left_), "\" x2=\"", coordinate(left_ + plot_width_),
        "\" y1=\"", coordinate(bottom), "\" y2=\"", coordinate(bottom), "\"/>");
  }

  void failing_line(double time, double top, double bottom) {
    const double x = x_of(time);
    const bool is_far_right = x > left_ + plot_width_ - 140;
    put(body_, "<line class=\"f\" x1=\"", coordinate(x), "\" x2=\"", coordinate(x), "\" y1=\"",
        coordinate(top - 8), "\" y2=\"", coordinate(bottom), "\"><title>", escaped(verdict_.reason),
        "</title></line><text class=\"ft\" x=\"", coordinate(is_far_right ? x - 6 : x + 6), "\" y=\"",
        coordinate(top - 4), is_far_right ? "\" text-anchor=\"end\">" : "\">", "fails at ",
        time_text(*verdict_.time), "</text>");
  }

  const model::ProblemInstanceImpl& problem_;
  const UserWords words_;
  const Verdict& verdict_;
  const std::vector<FluentHistory>& histories_;
  ChartOptions::Rows kind_;
  std::vector<Row> rows_;
  rational makespan_;
  double left_ = 0, plot_width_ = 0;  // where the plot begins, and its width
  double last_ = 1;                   // the time at its right end
  rational tick_;
  unsigned bands_ = 0;
  std::string body_;
};

}  // namespace

std::string draw(const model::ProblemInstanceImpl& problem, const TimeTriggeredPlan& plan,
                 const Verdict& verdict, const std::vector<FluentHistory>& histories,
                 ChartOptions::Rows rows) {
  return Picture(problem, plan, verdict, histories, rows).draw();
}

}  // namespace zorvel::report
