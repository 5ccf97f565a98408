#include "parsers/pddl_parser.h"

#include <algorithm>
#include <unordered_set>

#include "core/errors.h"
#include "core/input_file.h"
#include "model/model_factory.h"
#include "model/problem_source.h"
#include "parsers/name_resolver.h"
#include "parsers/pddl_grammar.h"

// The generated scanner's header is not included: it redefines half of its macros for other scanners.
typedef void* yyscan_t;
struct yy_buffer_state;
int zorvel_pddl_parser_lex_init_extra(zorvel::PddlBuilder* builder, yyscan_t* scanner);
int zorvel_pddl_parser_lex_destroy(yyscan_t scanner);
yy_buffer_state* zorvel_pddl_parser__scan_buffer(char* text, std::size_t size, yyscan_t scanner);

namespace zorvel {

using namespace model;

namespace {

// About two gigabytes.
constexpr std::size_t max_ground_atoms = 5000000;

class Scanner {
 public:
  Scanner(PddlBuilder& builder, std::string& text) {
    if (zorvel_pddl_parser_lex_init_extra(&builder, &scanner_) != 0) throw std::bad_alloc();
    zorvel_pddl_parser__scan_buffer(text.data(), text.size(), scanner_);
  }
  ~Scanner() { zorvel_pddl_parser_lex_destroy(scanner_); }
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;
  void* get() const { return scanner_; }

 private:
  yyscan_t scanner_ = nullptr;
};

void run_grammar(PddlBuilder& builder, std::string& text) {
  text.append(2, '\0');  // for the scanner
  const Scanner scanner(builder, text);
  zorvel_pddl_parser_parse(scanner.get(), &builder);
  builder.rethrow();
  builder.finish();
}

void check_number_of_atoms(const ProblemInstanceImpl& problem) {
  std::size_t atoms = 0;
  for (const auto& [name, fluent] : problem.fluents()) {
    if (!fluent->type()->is_boolean()) continue;
    std::size_t combinations = 1;
    for (const auto& parameter : fluent->parameters()) {
      const std::size_t size = values_for(problem, parameter->type()).size();
      combinations = std::min(combinations * size, max_ground_atoms + 1);
    }
    atoms += combinations;
    if (atoms > max_ground_atoms)
      throw InternalError("The predicates have more than ")
          << max_ground_atoms << " ground atoms; the first that is too many belongs to '" << name << "'";
  }
}

/// What the problem says about its start, completed: atoms that are not mentioned there are false.
std::vector<Node*> close_world(const ProblemInstanceImpl& problem) {
  check_number_of_atoms(problem);
  ExpressionFactory& factory = problem.env().expression_factory();
  Node* const start = factory.make_point_interval(factory.make_start_anchor());
  std::vector<Node*> statements;
  std::unordered_set<const Node*> initialised;
  for (Node* statement : problem.expressions()) {
    statements.push_back(statement);
    if (ExpressionFactory::is_temporal_expression(statement) && statement->children[0] == start &&
        ExpressionFactory::is_assign(statement->children[1]))
      initialised.insert(statement->children[1]->children[0]);
  }
  Node* const no = factory.make_boolean_constant(false);
  for (Node* atom : problem.all_ground_atoms())
    if (!initialised.contains(atom))
      statements.push_back(factory.make_temporal_expression(start, factory.make_assign(atom, no)));
  return statements;
}

template <class Map>
std::vector<typename Map::mapped_type> values_of(const Map& map) {
  std::vector<typename Map::mapped_type> values;
  for (const auto& [key, value] : map) values.push_back(value);
  return values;
}

int lines_in(const std::string& text) {
  const auto newlines = static_cast<int>(std::count(text.begin(), text.end(), '\n'));
  return newlines + (text.empty() || text.back() != '\n' ? 1 : 0);
}

}  // namespace

PddlParser::PddlParser(Environment& env) : EnvObject(env) {}
PddlParser::~PddlParser() = default;

ProblemPtr PddlParser::parse(std::istream& text) {
  error_ = {};
  error_place_.clear();
  return parse(read_all(text), {});
}

ProblemPtr PddlParser::parse_texts(const std::string& domain, const std::string& problem) {
  return parse_both(domain, problem, "domain", "problem");
}

ProblemPtr PddlParser::parse_files(const std::string& domain_path, const std::string& problem_path) {
  error_ = {};
  const auto read = [&](const std::string& path) {
    error_place_ = path;
    std::ifstream file = open_input_file(path);
    return read_all(file);
  };
  std::string domain = read(domain_path);
  return parse_both(std::move(domain), read(problem_path), domain_path, problem_path);
}

ProblemPtr PddlParser::parse_both(std::string domain, const std::string& problem,
                                  const std::string& domain_name, const std::string& problem_name) {
  // A domain that ends within a line, perhaps of a comment, does not swallow a line of the problem.
  if (domain.empty() || domain.back() != '\n') domain += '\n';
  const int lines_of_domain = lines_in(domain);
  return parse(domain + problem,
               {domain_name, problem_name, lines_of_domain + 1, lines_of_domain + lines_in(problem)});
}

void PddlParser::note_error(const PddlBuilder& builder, const PddlSources& sources, int line) {
  error_ = line == 0 ? PddlPlace() : builder.place(line);
  if (sources.domain.empty()) return;
  if (line == 0)
    error_place_ = sources.domain + " and " + sources.problem;
  else
    error_place_ =
        (error_.is_in_problem ? sources.problem : sources.domain) + ":" + std::to_string(error_.line);
}

ProblemPtr PddlParser::parse(std::string text, const PddlSources& sources) {
  error_ = {};
  error_place_.clear();
  plan_names_ = {};
  const auto raw = std::make_shared<ProblemInstanceImpl>(env(), env().model_factory().weak_from_this());
  PddlBuilder builder(env(), raw, sources);
  int failing_line = 0;
  try {
    run_grammar(builder, text);
    const ProblemPtr problem = NameResolver(env(), &builder.lines(), &failing_line)(raw);
    const std::vector<Node*> statements = close_world(*problem);
    plan_names_ = builder.plan_names();
    const auto source = std::make_shared<ProblemSource>();
    source->files = {sources.domain, sources.problem};
    source->names = plan_names_;
    const ProblemPtr closed = env().model_factory().make_problem_instance(
        values_of(problem->actions()), values_of(problem->fluents()), values_of(problem->constants()),
        values_of(problem->instances()), values_of(problem->user_types()), statements, {}, {});
    closed->set_source(source);
    return closed;
  } catch (...) {
    note_error(builder, sources, failing_line != 0 ? failing_line : builder.failing_line());
    throw;
  }
}

}  // namespace zorvel
