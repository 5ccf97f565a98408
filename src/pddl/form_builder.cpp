#include "pddl/form_builder.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"

// The generated scanner's header is not included: it redefines half of its macros for other scanners.
typedef void* yyscan_t;
struct yy_buffer_state;
int zorvel_pddl_form_lex_init_extra(zorvel::pddl::FormBuilder* builder, yyscan_t* scanner);
int zorvel_pddl_form_lex_destroy(yyscan_t scanner);
yy_buffer_state* zorvel_pddl_form__scan_buffer(char* text, std::size_t size, yyscan_t scanner);
int zorvel_pddl_form_lex(yyscan_t scanner);

namespace zorvel::pddl {

namespace {

// Forms are read by functions that call themselves for each level; a stack of the usual size holds five times
// as many levels, also with all sanitizers.
constexpr std::size_t max_depth = 1000;

constexpr std::size_t chunk_entries = 1 << 14;

char to_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

class Scanner {
 public:
  Scanner(FormBuilder& builder, std::string& text) {
    if (zorvel_pddl_form_lex_init_extra(&builder, &scanner_) != 0) throw std::bad_alloc();
    text.append(2, '\0');  // for the scanner
    zorvel_pddl_form__scan_buffer(text.data(), text.size(), scanner_);
  }
  ~Scanner() { zorvel_pddl_form_lex_destroy(scanner_); }
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;
  void run() { zorvel_pddl_form_lex(scanner_); }

 private:
  yyscan_t scanner_ = nullptr;
};

}  // namespace

const Symbol* SymbolTable::find_or_make(std::string_view word) {
  lower_.assign(word);
  std::transform(lower_.begin(), lower_.end(), lower_.begin(), to_lower);
  std::unique_ptr<Symbol>& symbol = symbols_[lower_];
  if (symbol == nullptr) symbol = std::make_unique<Symbol>(Symbol{lower_});
  return symbol.get();
}

std::span<const Form* const> FormArena::add_list(std::span<const Form* const> items) {
  if (items.size() > free_) {
    free_ = std::max(chunk_entries, items.size());
    next_ = chunks_.emplace_back(std::make_unique<const Form*[]>(free_)).get();
  }
  const Form** const begin = next_;
  next_ = std::copy(items.begin(), items.end(), next_);
  free_ -= items.size();
  return {begin, items.size()};
}

std::vector<const Form*> read_forms(std::string& text, std::uint32_t file, SymbolTable& symbols,
                                    FormArena& arena, Messages& messages) {
  FormBuilder builder(file, symbols, arena, messages);
  Scanner(builder, text).run();
  return builder.finish();
}

void FormBuilder::begin_word(std::string_view text) {
  word_ = next_;
  // Of a character of several bytes, only the first is counted.
  next_.column += static_cast<std::uint32_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

void FormBuilder::new_line() {
  ++next_.line;
  next_.column = 1;
}

void FormBuilder::open() {
  if (open_.size() == max_depth) {
    messages_.error(word_, "more than " + std::to_string(max_depth) + " forms inside of one another");
    messages_.raise_errors();  // nothing sensible can follow
  }
  open_.push_back({word_, items_.size()});
}

void FormBuilder::close() {
  if (!open_.empty()) {
    close_list();
    return;
  }
  // After a form that was closed for the user, its own parentheses may still come.
  if (!is_unbalanced_) messages_.error(word_, "')' closes no form");
  is_unbalanced_ = true;
}

void FormBuilder::close_list() {
  assert(!open_.empty());
  const OpenList list = open_.back();
  open_.pop_back();
  const std::span<const Form* const> items(items_.data() + list.first_item, items_.size() - list.first_item);
  Form form{FormKind::list, list.place, nullptr, {}, arena_.add_list(items)};
  items_.resize(list.first_item);
  items_.push_back(arena_.add(std::move(form)));
}

void FormBuilder::add_word(FormKind kind, std::string_view text) {
  if (kind == FormKind::keyword && !open_.empty() && open_.back().first_item == items_.size() &&
      open_.size() > 2)
    close_forms_before_section();
  items_.push_back(arena_.add({kind, word_, symbols_.find_or_make(text), text, {}}));
}

void FormBuilder::add_variable(std::string_view text) {
  items_.push_back(arena_.add({FormKind::variable, word_, symbols_.find_or_make(text.substr(1)), text, {}}));
}

void FormBuilder::add_number(std::string_view text) {
  // A sign belongs to the number behind it, except as the operator of a list.
  const std::size_t first = open_.empty() ? 0 : open_.back().first_item;
  if (items_.size() > first + 1) {
    const Form& sign = *items_.back();
    const bool is_sign = sign.kind == FormKind::name && (sign.text == "-" || sign.text == "+");
    if (is_sign && sign.text.data() + 1 == text.data()) {
      const Place place = sign.place;
      items_.pop_back();
      items_.push_back(arena_.add(
          {FormKind::number, place, nullptr, std::string_view(text.data() - 1, text.size() + 1), {}}));
      return;
    }
  }
  items_.push_back(arena_.add({FormKind::number, word_, nullptr, text, {}}));
}

void FormBuilder::unknown_character(std::string_view text) {
  std::string shown(text);
  const auto byte = static_cast<unsigned char>(text.front());
  if (text.size() == 1 && (byte < 0x20 || byte >= 0x7f)) {
    const char* const digits = "0123456789abcdef";
    shown = std::string("\\x") + digits[byte / 16] + digits[byte % 16];
  }
  messages_.error(word_, "unknown character '" + shown + "'");
}

std::string FormBuilder::describe(const OpenList& list) const {
  std::string text = "'(";
  for (std::size_t i = list.first_item; i < items_.size() && i < list.first_item + 2; ++i) {
    if (items_[i]->is_list()) break;
    text += (text.size() > 2 ? " " : "") + std::string(items_[i]->text.substr(0, 40));
  }
  return text + "'";
}

/// A section has begun with its parenthesis, and stands deeper than directly inside of `(define`.
void FormBuilder::close_forms_before_section() {
  const OpenList section = open_.back();
  open_.pop_back();
  const OpenList outer = open_[1];
  messages_.error(outer.place, "the form " + describe(outer) + " that begins here is not closed before " +
                                   messages_.place_text(section.place));
  is_unbalanced_ = true;
  while (open_.size() > 1) close_list();
  open_.push_back({section.place, items_.size()});
}

std::vector<const Form*> FormBuilder::finish() {
  if (failure_) std::rethrow_exception(failure_);
  if (!open_.empty()) {
    if (!is_unbalanced_)
      messages_.error(open_.back().place,
                      "the form " + describe(open_.back()) + " that begins here is not closed");
    while (!open_.empty()) close_list();
  }
  return std::move(items_);
}

}  // namespace zorvel::pddl
