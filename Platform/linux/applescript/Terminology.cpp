// The tables of the language's own words, and their search.
#include "Platform/linux/applescript/Terminology.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_set>

#include "Platform/Text.h"
#include "Platform/linux/applescript/DateForms.h"

namespace AppleScript {
namespace {

struct ClassRow {
  const char* name;
  const char* plural;
  const char* canonical;
};

// Texts have had several classes; they have been one for long.
constexpr ClassRow classRows[] = {
    {"item", "items", "item"},
    {"text", "text", "text"},
    {"string", "strings", "text"},
    {"Unicode text", "Unicode text", "text"},
    {"integer", "integers", "integer"},
    {"number", "numbers", "number"},
    {"real", "reals", "real"},
    {"boolean", "booleans", "boolean"},
    {"list", "lists", "list"},
    {"record", "records", "record"},
    {"date", "dates", "date"},
    {"alias", "aliases", "alias"},
    {"file", "files", "file"},
    {"POSIX file", "POSIX files", "POSIX file"},
    {"character", "characters", "character"},
    {"word", "words", "word"},
    {"paragraph", "paragraphs", "paragraph"},
    {"text item", "text items", "text item"},
    {"script", "scripts", "script"},
    {"application", "applications", "application"},
    {"app", "applications", "application"},
    {"class", "classes", "class"},
    {"constant", "constants", "constant"},
    {"reference", "references", "reference"},
};

constexpr const char* coreProperties[] = {
    "class",       "length",
    "contents",    "text item delimiters",
    "id",          "name",
    "version",     "weekday",
    "month",       "day",
    "year",        "time",
    "hours",       "minutes",
    "seconds",     "date string",
    "time string", "short date string",
    "quoted form", "POSIX path",
    "rest",        "reverse",
    "running",     "frontmost",
    "properties",  "index",
};

constexpr const char* constants[] = {
    "AppleScript",
    "yes",
    "no",
    "ask",
    "case",
    "diacriticals",
    "expansion",
    "hyphens",
    "punctuation",
    "white space",
    "numeric strings",
    "application responses",
    "stop",
    "note",
    "caution",
    "up",
    "down",
    "to nearest",
    "toward zero",
    "as taught in school",
};

// Parameters: label, required, flag.
struct CommandRow {
  CommandTerm term;
  Builtin builtin;
};

const std::vector<CommandRow>& coreCommands() {
  static const std::vector<CommandRow> rows = {
      {{"get", {}}, Builtin::get},
      {{"count", {}}, Builtin::count},
      {{"log", {}}, Builtin::log},
      {{"activate", {}}, Builtin::none},
      {{"launch", {}}, Builtin::none},
      {{"run", {}}, Builtin::none},
      {{"reopen", {}}, Builtin::none},
      {{"quit", {{"saving"}}}, Builtin::none},
      {{"current date", {}, false}, Builtin::currentDate},
      {{"delay", {}}, Builtin::delay},
      {{"offset", {{"of", true}, {"in", true}}, false}, Builtin::offset},
      {{"round", {{"rounding"}}}, Builtin::round},
      {{"random number", {{"from"}, {"to"}}}, Builtin::randomNumber},
      {{"system attribute", {}}, Builtin::systemAttribute},
      {{"ASCII character", {}}, Builtin::asciiCharacter},
      {{"ASCII number", {}}, Builtin::asciiNumber},
      {{"do shell script", {{"administrator privileges", false, true}}}, Builtin::shellScript},
  };
  return rows;
}

const std::vector<CommandRow>& standardCommands() {
  static const std::vector<CommandRow> rows = {
      {{"make", {{"new", true}, {"at"}, {"with data"}, {"with properties"}}, false}, Builtin::make},
      {{"exists", {}}, Builtin::exists},
      {{"delete", {}}, Builtin::none},
      {{"duplicate", {{"to"}, {"with properties"}}}, Builtin::none},
      {{"move", {{"to", true}}}, Builtin::none},
      {{"open", {{"with properties"}}}, Builtin::none},
      {{"close", {{"saving"}, {"saving in"}}}, Builtin::none},
      {{"save", {{"in"}, {"as"}}}, Builtin::none},
      {{"print", {}}, Builtin::none},
      {{"select", {}}, Builtin::none},
  };
  return rows;
}

struct OperatorRow {
  Operator operation;
  int precedence;
  const char* sign;
  std::vector<const char*> phrases;
};

const std::vector<OperatorRow>& operatorRows() {
  using O = Operator;
  static const std::vector<OperatorRow> rows = {
      {O::logicalOr, 1, "or", {"or"}},
      {O::logicalAnd, 2, "and", {"and"}},
      {O::equal, 4, "=", {"=", "is", "equals", "equal", "equal to", "is equal", "is equal to"}},
      {O::notEqual,
       4,
       "≠",
       {"≠", "/=", "is not", "isn't", "is not equal", "is not equal to", "isn't equal", "isn't equal to",
        "does not equal", "doesn't equal"}},
      {O::contains, 4, "contains", {"contains", "contain"}},
      {O::notContains, 4, "does not contain", {"does not contain", "doesn't contain"}},
      {O::isIn, 4, "is in", {"is in", "is contained by"}},
      {O::notIn, 4, "is not in", {"is not in", "isn't in", "is not contained by", "isn't contained by"}},
      {O::startsWith, 4, "starts with", {"starts with", "start with", "begins with", "begin with"}},
      {O::notStartsWith,
       4,
       "does not start with",
       {"does not start with", "doesn't start with", "does not begin with", "doesn't begin with"}},
      {O::endsWith, 4, "ends with", {"ends with", "end with"}},
      {O::notEndsWith, 4, "does not end with", {"does not end with", "doesn't end with"}},
      {O::less,
       5,
       "<",
       {"<", "is less than", "less than", "comes before", "is not greater than or equal to",
        "is not greater than or equal", "isn't greater than or equal to", "isn't greater than or equal"}},
      {O::lessOrEqual,
       5,
       "≤",
       {"≤", "<=", "is less than or equal to", "is less than or equal", "less than or equal to", "less than or equal",
        "is not greater than", "isn't greater than", "does not come after", "doesn't come after"}},
      {O::greater,
       5,
       ">",
       {">", "is greater than", "greater than", "comes after", "is not less than or equal to",
        "is not less than or equal", "isn't less than or equal to", "isn't less than or equal"}},
      {O::greaterOrEqual,
       5,
       "≥",
       {"≥", ">=", "is greater than or equal to", "is greater than or equal", "greater than or equal to",
        "greater than or equal", "is not less than", "isn't less than", "does not come before", "doesn't come before"}},
      {O::coerce, 6, "as", {"as"}},
      {O::concatenate, 7, "&", {"&"}},
      {O::add, 8, "+", {"+"}},
      {O::subtract, 8, "-", {"-"}},
      {O::multiply, 9, "*", {"*"}},
      {O::divide, 9, "/", {"/", "÷"}},
      {O::divideWhole, 9, "div", {"div"}},
      {O::remainder, 9, "mod", {"mod"}},
      {O::power, 10, "^", {"^"}},
  };
  return rows;
}

const OperatorRow& row(Operator operation) {
  return *std::find_if(operatorRows().begin(), operatorRows().end(),
                       [&](const OperatorRow& r) { return r.operation == operation; });
}

const std::unordered_set<std::string_view>& reservedWords() {
  static const std::unordered_set<std::string_view> words = {
      "about",       "above",       "after",    "against",  "and",     "around",  "as",        "at",      "back",
      "before",      "beginning",   "behind",   "below",    "beneath", "beside",  "between",   "but",     "by",
      "considering", "contain",     "contains", "continue", "copy",    "div",     "does",      "doesn't", "eighth",
      "else",        "end",         "equal",    "equals",   "error",   "every",   "exit",      "false",   "fifth",
      "first",       "for",         "fourth",   "from",     "front",   "get",     "given",     "global",  "if",
      "ignoring",    "in",          "into",     "is",       "isn't",   "it",      "its",       "last",    "local",
      "me",          "middle",      "mod",      "my",       "ninth",   "not",     "of",        "on",      "onto",
      "or",          "over",        "prop",     "property", "put",     "ref",     "reference", "repeat",  "return",
      "returning",   "script",      "second",   "set",      "seventh", "since",   "sixth",     "some",    "tell",
      "tenth",       "that",        "the",      "then",     "third",   "through", "thru",      "timeout", "times",
      "to",          "transaction", "true",     "try",      "until",   "use",     "using",     "where",   "while",
      "whose",       "with",        "without",  "result",
  };
  return words;
}

// Reserved words that do begin an expression.
constexpr std::array<std::string_view, 35> beginners = {
    "after",   "back",  "before", "beginning", "behind", "eighth",    "end",    "every",  "false",
    "fifth",   "first", "fourth", "front",     "get",    "it",        "its",    "last",   "me",
    "middle",  "my",    "ninth",  "not",       "ref",    "reference", "result", "return", "second",
    "seventh", "sixth", "some",   "tenth",     "the",    "third",     "true",   "script"};

std::vector<std::string> wordsOf(std::string_view phrase) { return Text::split(Text::lowercase(phrase), ' ', true); }

bool matches(const std::vector<std::string>& words, std::span<const Token> tokens) {
  if (tokens.size() < words.size()) return false;
  for (std::size_t i = 0; i < words.size(); ++i)
    if (!tokens[i].isWord(words[i])) return false;
  return true;
}

struct OperatorIndex {
  struct Entry {
    std::vector<std::string> words;
    Operator operation;
  };
  std::unordered_map<std::string, std::vector<Entry>> byFirstWord;  // longest first

  OperatorIndex() {
    for (const OperatorRow& r : operatorRows())
      for (const char* phrase : r.phrases) {
        auto words = wordsOf(phrase);
        std::vector<Entry>& entries = byFirstWord[words.front()];
        entries.push_back({std::move(words), r.operation});
      }
    for (auto& [first, entries] : byFirstWord)
      std::stable_sort(entries.begin(), entries.end(),
                       [](const Entry& a, const Entry& b) { return a.words.size() > b.words.size(); });
  }
};

}  // namespace

struct Tables {
  static void addCommands(Vocabulary& vocabulary, const std::vector<CommandRow>& rows) {
    for (const CommandRow& r : rows) {
      Term& term = vocabulary.term(r.term.name);
      term.command = &r.term;
      term.builtin = r.builtin;
    }
  }

  static void addConstants(Vocabulary& vocabulary) {
    for (const char* name : constants) vocabulary.term(name).constant = Constant{name};
    for (const char* name : monthNames) vocabulary.term(name).constant = Constant{name};
    for (const char* name : weekdayNames) vocabulary.term(name).constant = Constant{name};
    const std::pair<const char*, Value> values[] = {
        {"true", true},   {"false", false},   {"missing value", Missing{}},
        {"pi", M_PI},     {"linefeed", "\n"}, {"tab", "\t"},
        {"space", " "},   {"quote", "\""},    {"minutes", 60},
        {"hours", 3600},  {"days", 86400},    {"weeks", 604800},
        {"return", "\r"},
    };
    for (const auto& [name, value] : values) vocabulary.term(name).constant = value;
  }

  static Vocabulary core() {
    Vocabulary vocabulary;
    for (const ClassRow& r : classRows) {
      for (const char* name : {r.plural, r.name}) {
        Term& term = vocabulary.term(name);
        term.className = r.canonical;
        term.shownClass = name;
        term.plural = std::string_view(name) != r.name;
      }
    }
    for (const char* name : coreProperties) vocabulary.term(name).property = name;
    addConstants(vocabulary);
    addCommands(vocabulary, coreCommands());
    return vocabulary;
  }

  static Vocabulary standard() {
    Vocabulary vocabulary = core();
    addCommands(vocabulary, standardCommands());
    return vocabulary;
  }
};

const Vocabulary& Vocabulary::core() {
  static const Vocabulary vocabulary = Tables::core();
  return vocabulary;
}

const Vocabulary& Vocabulary::standard() {
  static const Vocabulary vocabulary = Tables::standard();
  return vocabulary;
}

Vocabulary::Vocabulary(const Dictionary& dictionary) : Vocabulary(standard()) { add(dictionary); }

Term& Vocabulary::term(std::string_view phrase) {
  std::vector<std::string> words = wordsOf(phrase);
  std::vector<Term>& terms = byFirstWord_[words.empty() ? "" : words.front()];
  for (Term& existing : terms)
    if (existing.words == words) return existing;
  const auto place =
      std::find_if(terms.begin(), terms.end(), [&](const Term& t) { return t.words.size() < words.size(); });
  Term fresh;
  fresh.words = std::move(words);
  return *terms.insert(place, std::move(fresh));
}

// The application's meaning of a word replaces the language's of the same sort: `list` is a class of
// reminders in Reminders.
void Vocabulary::add(const Dictionary& dictionary) {
  for (const ClassTerm& c : dictionary.classes) {
    for (const bool plural : {true, false}) {
      const std::string& name = plural ? c.plural : c.name;
      if (name.empty() || c.name == "application") continue;
      Term& entry = term(name);
      entry.className = c.name;
      entry.shownClass = name;
      entry.plural = plural && c.plural != c.name;
      entry.constant.reset();
    }
    for (const PropertyTerm& p : c.properties) {
      Term& entry = term(p.name);
      entry.property = p.name;
      entry.constant.reset();
    }
  }
  for (const CommandTerm& c : dictionary.commands) {
    Term& entry = term(c.name);
    entry.command = &c;
    entry.builtin = entry.builtin == Builtin::make ? Builtin::make : Builtin::none;
  }
  for (const std::string& name : dictionary.constants) term(name).constant = Constant{name};
}

const Term* Vocabulary::find(std::span<const Token> tokens) const {
  if (tokens.empty() || tokens.front().kind != Token::Kind::word) return nullptr;
  const auto terms = byFirstWord_.find(tokens.front().key);
  if (terms == byFirstWord_.end()) return nullptr;
  for (const Term& term : terms->second)
    if (matches(term.words, tokens)) return &term;
  return nullptr;
}

std::optional<OperatorPhrase> findOperator(std::span<const Token> tokens) {
  static const OperatorIndex index;
  const Token& first = tokens.front();
  if (first.kind != Token::Kind::word && first.kind != Token::Kind::symbol) return std::nullopt;
  const auto entries = index.byFirstWord.find(first.kind == Token::Kind::word ? first.key : first.text);
  if (entries == index.byFirstWord.end()) return std::nullopt;
  for (const auto& entry : entries->second)
    if (first.kind == Token::Kind::symbol || matches(entry.words, tokens))
      return OperatorPhrase{entry.words.size(), entry.operation};
  return std::nullopt;
}

const CommandTerm& countCommand() {
  static const CommandTerm& command =
      std::find_if(coreCommands().begin(), coreCommands().end(), [](const CommandRow& r) {
        return r.builtin == Builtin::count;
      })->term;
  return command;
}

int precedence(Operator operation) { return row(operation).precedence; }

std::string_view sign(Operator operation) { return row(operation).sign; }

bool isReserved(std::string_view word) { return reservedWords().contains(word); }

bool beginsNoExpression(std::string_view word) {
  return isReserved(word) && std::find(beginners.begin(), beginners.end(), word) == beginners.end();
}

std::optional<int> ordinal(std::string_view word) {
  static constexpr std::array<std::string_view, 10> names = {"first", "second",  "third",  "fourth", "fifth",
                                                             "sixth", "seventh", "eighth", "ninth",  "tenth"};
  if (word == "front") return 1;
  if (word == "last" || word == "back") return -1;
  const auto found = std::find(names.begin(), names.end(), word);
  if (found == names.end()) return std::nullopt;
  return static_cast<int>(found - names.begin()) + 1;
}

}  // namespace AppleScript
