#include "parsers/anml_parser.h"

#include "core/errors.h"
#include "core/input_file.h"
#include "model/action.h"
#include "model/model_factory.h"
#include "model/user_type.h"
#include "parsers/anml_builder.h"
#include "parsers/anml_grammar.h"
#include "parsers/anml_source.h"
#include "parsers/name_resolver.h"
#include "parsers/statement_line.h"

// The generated scanner's header is not included: it redefines half of its macros for other scanners.
typedef void* yyscan_t;
struct yy_buffer_state;
int zorvel_anml_parser_lex_init_extra(zorvel::AnmlBuilder* builder, yyscan_t* scanner);
int zorvel_anml_parser_lex_destroy(yyscan_t scanner);
yy_buffer_state* zorvel_anml_parser__scan_buffer(char* text, std::size_t size, yyscan_t scanner);

namespace zorvel {

using namespace model;

namespace {

class Scanner {
 public:
  Scanner(AnmlBuilder& builder, std::string& text) {
    if (zorvel_anml_parser_lex_init_extra(&builder, &scanner_) != 0) throw std::bad_alloc();
    zorvel_anml_parser__scan_buffer(text.data(), text.size(), scanner_);
  }
  ~Scanner() { zorvel_anml_parser_lex_destroy(scanner_); }
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;
  void* get() const { return scanner_; }

 private:
  yyscan_t scanner_ = nullptr;
};

void run_grammar(AnmlBuilder& builder, std::istream& stream) {
  std::string text = read_all(stream);
  text.append(2, '\0');  // for the scanner
  const Scanner scanner(builder, text);
  zorvel_anml_parser_parse(scanner.get(), &builder);
  builder.rethrow();
}

/// The metric of action costs, if the text asked for it: top-level actions without a cost of their own get
/// the default.
void add_cost_metric(const AnmlBuilder& builder, ProblemInstanceImpl& problem) {
  if (!builder.minimizes_cost()) return;
  MinimizeActionCost::Costs costs = builder.costs();
  for (const auto& [name, action] : problem.actions()) costs.emplace(action, builder.default_cost());
  problem.add_metric(std::make_shared<MinimizeActionCost>(std::move(costs)));
}

}  // namespace

AnmlParser::AnmlParser(Environment& env) : EnvObject(env) {}
AnmlParser::~AnmlParser() = default;

ProblemPtr AnmlParser::parse(std::istream& text, const std::string& name) {
  error_line_ = 0;
  const auto raw = std::make_shared<ProblemInstanceImpl>(env(), env().model_factory().weak_from_this());
  AnmlBuilder builder(env(), raw);
  try {
    run_grammar(builder, text);
  } catch (...) {
    error_line_ = builder.failing_line();
    throw;
  }
  add_cost_metric(builder, *raw);
  StatementSources sources;
  ProblemPtr problem = NameResolver(env(), &builder.lines(), &error_line_, &sources)(raw);
  problem->set_source(make_anml_source(name, *raw, builder.lines(), sources, *problem));
  return problem;
}

int find_statement_line(const std::string& path, const std::function<bool(Node*)>& is_meant) {
  Environment env;
  std::ifstream file = open_input_file(path);
  const auto raw = std::make_shared<ProblemInstanceImpl>(env, env.model_factory().weak_from_this());
  AnmlBuilder builder(env, raw);
  run_grammar(builder, file);
  add_cost_metric(builder, *raw);
  StatementSources sources;
  const ProblemPtr problem = NameResolver(env, &builder.lines(), nullptr, &sources)(raw);
  const auto line_in = [&](const ExpressionScope& scope) {
    for (Node* statement : scope.expressions()) {
      if (!is_meant(statement)) continue;
      const auto [raw_statement, owner] = sources.at(statement);
      const SourceLines& lines = builder.lines();
      return owner == nullptr ? lines.top_level_statement(raw_statement).first
                              : lines.nested_statement(raw_statement, lines.declaration(owner)).first;
    }
    return 0;
  };
  int line = line_in(*problem);
  for (const auto& [name, action] : problem->actions())
    if (line == 0) line = line_in(*action);
  for (const auto& [type_name, type] : problem->user_types())
    for (const auto& [name, action] : type->actions())
      if (line == 0) line = line_in(*action);
  return line;
}

ProblemPtr AnmlParser::parse_file(const std::string& path) {
  error_line_ = 0;
  std::error_code ignored;
  std::ifstream file = open_input_file(path);
  return parse(file, path);
}

}  // namespace zorvel
