// Statements, blocks, handlers and the top level of a script.
#include <algorithm>
#include <array>

#include "Platform/Text.h"
#include "Platform/linux/applescript/Grammar.h"
#include "Platform/linux/applescript/Parser.h"
#include "Platform/linux/applescript/Stack.h"

namespace AppleScript {

namespace {

struct AspectRow {
  const char* name;
  bool Attention::*aspect;  // null: allowed, and without effect here
};

constexpr std::array<AspectRow, 8> aspectRows = {{
    {"case", &Attention::letterCase},
    {"diacriticals", &Attention::diacriticals},
    {"hyphens", &Attention::hyphens},
    {"punctuation", &Attention::punctuation},
    {"white space", &Attention::whiteSpace},
    {"numeric strings", &Attention::numericStrings},
    {"expansion", nullptr},
    {"application responses", nullptr},
}};

}  // namespace

Grammar::Grammar(std::vector<Token> tokens, Directory& directory) : tokens_(std::move(tokens)), directory_(directory) {
  std::vector<std::size_t> open;
  for (std::size_t at = 0; at < tokens_.size(); ++at) {
    if (tokens_[at].is("{")) open.push_back(at);
    if (!tokens_[at].is("}") || open.empty()) continue;
    closings_[open.back()] = at;
    open.pop_back();
  }
}

// ---- Tokens

std::span<const Token> Grammar::rest(std::size_t ahead) const {
  return std::span<const Token>(tokens_).subspan(std::min(at_ + ahead, tokens_.size() - 1));
}

bool Grammar::takeWord(std::string_view text) {
  if (!word(text)) return false;
  ++at_;
  return true;
}

bool Grammar::takeSymbol(std::string_view text) {
  if (!token().is(text)) return false;
  ++at_;
  return true;
}

void Grammar::needWord(std::string_view text) {
  if (!takeWord(text)) expected("“" + std::string(text) + "”");
}

void Grammar::needSymbol(std::string_view text) {
  if (!takeSymbol(text)) expected("“" + std::string(text) + "”");
}

void Grammar::needEndOfLine() {
  if (token().kind == Token::Kind::endOfScript) return;
  if (token().kind != Token::Kind::endOfLine) expected("end of line, etc.");
  ++at_;
}

void Grammar::skipLines() {
  while (token().kind == Token::Kind::endOfLine) ++at_;
}

Range Grammar::since(std::size_t begin) const {
  return {begin, std::max(begin, at_ > 0 ? tokens_[at_ - 1].range.end : begin)};
}

bool Grammar::isName(std::size_t ahead) const {
  const Token& t = token(ahead);
  if (t.kind == Token::Kind::barred) return true;
  return t.kind == Token::Kind::word && !isReserved(t.key) && !term(ahead);
}

std::string Grammar::described() const {
  const Token& t = token();
  switch (t.kind) {
    case Token::Kind::endOfLine:
      return "end of line";
    case Token::Kind::endOfScript:
      return "end of script";
    case Token::Kind::string:
      return "“\"”";
    case Token::Kind::integer:
    case Token::Kind::ordinal:
      return "number";
    case Token::Kind::real:
      return "real number";
    case Token::Kind::barred:
      return "identifier";
    case Token::Kind::symbol:
      return "“" + t.text + "”";
    case Token::Kind::word:
      break;
  }
  const Term* known = term();
  if (known && known->isClass()) return known->plural ? "plural class name" : "class name";
  if (known && known->isProperty()) return "property";
  if (known && known->command) return "command name";
  if (isReserved(t.key)) return "“" + t.key + "”";
  return known ? "application constant or consideration" : "identifier";
}

void Grammar::expected(std::string_view what) const {
  throw SyntaxError(token().range, "Expected " + std::string(what) + " but found " + described() + ".");
}

// ---- The top level

std::unique_ptr<Program> Grammar::script() {
  scopes_.emplace_back();
  scope_ = &scopes_.back();
  topLevel();
  resolveVariables();
  return std::move(program_);
}

void Grammar::topLevel() {
  Block* body = program_->make<Block>(Range{});
  for (skipLines(); token().kind != Token::Kind::endOfScript; skipLines()) {
    if (word("on") || (word("to") && isName(1))) {
      handlerDefinition();
    } else if (word("property") || word("prop")) {
      propertyDefinition();
    } else if (word("use")) {
      useClause();
    } else if (word("global")) {
      declaration();
    } else {
      body->statements.push_back(statement());
    }
    needEndOfLine();
  }
  if (body->statements.empty()) return;
  body->range = {body->statements.front()->range.begin, body->statements.back()->range.end};
  if (program_->handlers.contains("run"))
    throw SyntaxError(body->statements.front()->range, "The handler run is specified more than once.",
                      ErrorNumber::handlerTwice);
  Handler run;
  run.name = "run";
  run.body = body;
  program_->handlers.emplace("run", std::move(run));
}

void Grammar::handlerDefinition() {
  ++at_;
  const Token& name = token();
  if (!isName() && !word("run")) expected("identifier");
  ++at_;
  const auto [entry, isNew] = program_->handlers.try_emplace(name.key);
  if (!isNew)
    throw SyntaxError(name.range, "The handler " + name.text + " is specified more than once.",
                      ErrorNumber::handlerTwice);
  Handler& handler = entry->second;
  handler.name = name.key;
  scopes_.emplace_back().handler = &handler;
  Scoped scope(scope_, &scopes_.back());
  Scoped vocabulary(vocabulary_, &Vocabulary::core());
  parameters(handler);
  needEndOfLine();
  handler.body = block();
  needWord("end");
  if (!token().endsLine() && token().key != name.key) expected("“end " + name.text + "”");
  if (!token().endsLine()) ++at_;
}

void Grammar::parameters(Handler& handler) {
  const bool run = handler.name == "run";
  const bool inBraces = run && takeSymbol("{");
  const bool inParentheses = !inBraces && takeSymbol("(");
  handler.listParameter = inBraces;
  if (run && !inBraces && !inParentheses) {
    if (!token().endsLine()) handler.parameters.push_back(variable());
    return;
  }
  if (!inBraces && !inParentheses) return;
  const std::string_view close = inBraces ? "}" : ")";
  while (!token().is(close)) {
    handler.parameters.push_back(variable());
    if (!takeSymbol(",")) break;
    if (token().is(close)) expected("identifier");
  }
  needSymbol(close);
}

void Grammar::propertyDefinition() {
  ++at_;
  const Token& name = token();
  if (!isName()) expected("identifier");
  ++at_;
  if (declared_.contains(name.key) && declared_[name.key])
    throw SyntaxError(name.range, "The property " + name.text + " is specified more than once.",
                      ErrorNumber::propertyTwice);
  declared_[name.key] = true;
  needSymbol(":");
  program_->properties.emplace_back(sharedSlot(name.key), expression());
}

// What a script says about its surroundings. Only the two that everybody has are known.
void Grammar::useClause() {
  needWord("use");
  if (takeWord("scripting")) return needWord("additions");
  if (!takeWord("applescript")) expected("“scripting additions”");
  if (!takeWord("version")) return;
  if (token().kind != Token::Kind::string) expected("“\"”");
  ++at_;
}

void Grammar::declaration() {
  const bool global = word("global");
  do {
    ++at_;
    const Token& name = token();
    if (!isName()) expected("identifier");
    ++at_;
    if (!global)
      scope_->locals.insert(name.key);
    else if (scope_->handler)
      scope_->globals.insert(name.key);
    else
      declared_.emplace(name.key, false);
    if (global) sharedSlot(name.key);
  } while (token().is(","));
}

std::size_t Grammar::sharedSlot(const std::string& name) {
  return program_->shared.try_emplace(name, program_->shared.size()).first->second;
}

VariableNode* Grammar::use(const Token& name) {
  VariableNode* node = program_->make<VariableNode>(name.range);
  node->name = name.key;
  node->shown = name.text;
  scope_->uses.push_back(node);
  return node;
}

/// A name that gets a value: a parameter, a loop's variable.
VariableNode* Grammar::variable() {
  if (!isName()) expected("variable name");
  const Token& name = token();
  ++at_;
  return use(name);
}

// Only at the end is it known which names are properties: a script may declare them behind their use.
void Grammar::resolveVariables() {
  for (Scope& scope : scopes_) {
    std::map<std::string, std::size_t> slots;
    for (VariableNode* node : scope.uses) {
      const bool own = scope.handler && !scope.globals.contains(node->name) &&
                       (!declared_.contains(node->name) || scope.locals.contains(node->name));
      node->shared = !own;
      node->slot = own ? slots.try_emplace(node->name, slots.size()).first->second : sharedSlot(node->name);
    }
    if (scope.handler) scope.handler->slots = slots.size();
  }
}

// ---- Blocks

Block* Grammar::block() {
  Block* result = program_->make<Block>(token().range);
  for (skipLines(); !word("end") && !word("else") && !words("on", "error"); skipLines()) {
    if (token().kind == Token::Kind::endOfScript) expected("“end”");
    result->statements.push_back(statement());
    needEndOfLine();
  }
  return result;
}

Block* Grammar::bodyOf(std::string_view construct) {
  needEndOfLine();
  Block* body = block();
  endOf(construct);
  return body;
}

void Grammar::endOf(std::string_view construct) {
  const std::string phrase = "“end " + std::string(construct) + "”";
  if (!word("end")) expected(phrase);
  ++at_;
  if (token().endsLine()) return;
  for (const std::string& part : Text::split(construct, ' ')) {
    if (!word(part)) expected(phrase);
    ++at_;
  }
}

Block* Grammar::blockOf(Node* only) {
  Block* result = program_->make<Block>(only->range);
  result->statements.push_back(only);
  return result;
}

// ---- Statements

Node* Grammar::statement(bool oneLine) {
  checkStack();
  const std::size_t begin = token().range.begin;
  Node* result = nullptr;
  const bool compound = !oneLine;
  if (word("if"))
    result = branch(oneLine);
  else if (word("tell"))
    result = tell(oneLine);
  else if (compound && word("repeat"))
    result = repeat();
  else if (compound && word("try"))
    result = attempt();
  else if (compound && (word("considering") || word("ignoring")))
    result = attend();
  else if (compound && words("with", "timeout"))
    result = timeout();
  else if (compound && words("using", "terms"))
    result = terms();
  else
    result = plainStatement();
  if (result->kind != Node::Kind::evaluate) result->range = since(begin);
  return result;
}

Node* Grammar::plainStatement() {
  if (word("set")) return assignment();
  if (word("copy")) return copying();
  if (word("return")) return giveBack();
  if (word("exit")) return exitRepeat();
  if (word("error")) return raise();
  if (word("local") || word("global")) {
    declaration();
    return program_->make<Block>(token().range);
  }
  if (word("end") || (token().kind == Token::Kind::word && beginsNoExpression(token().key) && !startsExpression()))
    expected("expression");
  Evaluate* node = program_->make<Evaluate>(token().range);
  const Term* known = term();
  // At the beginning of a line a word that is a command too means the command.
  if (known && known->command && !word("of", known->words.size()) && !token(known->words.size()).is("'s"))
    node->expression = command(*known);
  else
    node->expression = expression();
  node->range = node->expression->range;
  return node;
}

Node* Grammar::branch(bool oneLine) {
  Branch* node = program_->make<Branch>(token().range);
  ++at_;
  Node* condition = expression();
  const bool then = takeWord("then");
  if (then && !token().endsLine()) {
    node->cases.emplace_back(condition, blockOf(statement(true)));
    return node;
  }
  if (oneLine || !token().endsLine()) expected(then ? "expression" : "“then”, etc.");
  needEndOfLine();
  node->cases.emplace_back(condition, block());
  while (words("else", "if")) {
    at_ += 2;
    Node* next = expression();
    takeWord("then");
    needEndOfLine();
    node->cases.emplace_back(next, block());
  }
  if (takeWord("else")) {
    needEndOfLine();
    node->otherwise = block();
  }
  endOf("if");
  return node;
}

Node* Grammar::repeat() {
  Repeat* loop = program_->make<Repeat>(token().range);
  ++at_;
  repeatHead(*loop);
  ++repeats_;
  loop->body = bodyOf("repeat");
  --repeats_;
  return loop;
}

void Grammar::repeatHead(Repeat& loop) {
  using Form = Repeat::Form;
  if (token().endsLine()) return;
  if (word("while") || word("until")) {
    loop.form = word("while") ? Form::whileTrue : Form::untilTrue;
    ++at_;
    loop.first = expression();
    return;
  }
  if (!takeWord("with")) {
    loop.form = Form::times;
    loop.first = expression();
    takeWord("times");
    return;
  }
  loop.variable = variable();
  if (takeWord("in")) {
    loop.form = Form::items;
    loop.first = expression();
    return;
  }
  if (!takeWord("from")) expected("“from” or “in”");
  loop.form = Form::counting;
  loop.first = expression();
  needWord("to");
  loop.last = expression();
  if (takeWord("by")) loop.step = expression();
}

Node* Grammar::attempt() {
  Attempt* node = program_->make<Attempt>(token().range);
  ++at_;
  needEndOfLine();
  node->body = block();
  if (words("on", "error")) {
    at_ += 2;
    errorClauses(*node);
    needEndOfLine();
    node->handler = block();
  }
  if (words("end", "error")) {
    at_ += 2;
    return node;
  }
  endOf("try");
  return node;
}

void Grammar::errorClauses(Attempt& node) {
  if (isName()) node.text = variable();
  while (!token().endsLine()) {
    VariableNode** clause = word("number") ? &node.number : word("from") ? &node.from : nullptr;
    const bool to = word("to");
    if (words("partial", "result")) {
      clause = &node.partial;
      ++at_;
    }
    if (!clause && !to) expected("end of line, etc.");
    ++at_;
    VariableNode* name = variable();
    if (!clause) continue;  // what a coercion was to make isn't told by our errors
    if (*clause) throw SyntaxError(name->range, "Parameter is specified more than once.", ErrorNumber::parameterTwice);
    *clause = name;
  }
}

Node* Grammar::tell(bool oneLine) {
  Tell* node = program_->make<Tell>(token().range);
  ++at_;
  Scoped vocabulary(vocabulary_, vocabularyAhead());
  node->target = expression();
  if (node->target->kind == Node::Kind::me) vocabulary_ = &Vocabulary::core();
  if (takeWord("to")) {
    if (token().endsLine()) expected("expression");
    node->body = blockOf(statement(true));
    return node;
  }
  if (oneLine) expected("“to”");
  node->body = bodyOf("tell");
  return node;
}

// The terms of the application that the rest of the line names count from the word `tell` on.
const Vocabulary* Grammar::vocabularyAhead() {
  for (std::size_t ahead = 0; !token(ahead).endsLine(); ++ahead) {
    if (word("to", ahead)) break;
    if (!word("application", ahead) && !word("app", ahead)) continue;
    if (token(ahead + 1).kind == Token::Kind::string) return vocabularyOf(token(ahead + 1));
    if (ahead == 0) return &Vocabulary::standard();
  }
  return vocabulary_;
}

const Vocabulary* Grammar::vocabularyOf(const Token& name) {
  std::shared_ptr<Application> application = directory_.find(name.text);
  if (!application)
    throw SyntaxError(name.range, "Can’t get application \"" + name.text + "\".", ErrorNumber::noSuchObject);
  auto& vocabulary = vocabularies_[application.get()];
  if (!vocabulary) {
    vocabulary = std::make_unique<Vocabulary>(application->dictionary());
    program_->applications.push_back(std::move(application));
  }
  return vocabulary.get();
}

Node* Grammar::attend() {
  Attend* node = program_->make<Attend>(token().range);
  const std::string construct = token().key;
  ++at_;
  aspects(*node, construct == "considering");
  if (takeWord("but")) {
    if (!word("considering") && !word("ignoring")) expected("“ignoring”");
    const bool considered = word("considering");
    ++at_;
    aspects(*node, considered);
  }
  node->body = bodyOf(construct);
  return node;
}

void Grammar::aspects(Attend& node, bool considered) {
  do {
    const Term* known = term();
    const std::string name = known ? Text::join(known->words, " ") : "";
    const auto row =
        std::find_if(aspectRows.begin(), aspectRows.end(), [&](const AspectRow& r) { return name == r.name; });
    if (row == aspectRows.end()) expected("application constant or consideration");
    at_ += known->words.size();
    if (row->aspect) node.changes.push_back({row->aspect, considered});
  } while (takeWord("and") || (takeSymbol(",") && (takeWord("and") || true)));
}

// Nothing here waits for an answer, so the limit is read and never met.
Node* Grammar::timeout() {
  at_ += 2;
  needWord("of");
  expression();
  if (!takeWord("second")) needWord("seconds");
  return bodyOf("timeout");
}

Node* Grammar::terms() {
  at_ += 2;
  needWord("from");
  if (!takeWord("application") && !takeWord("app")) expected("“application”");
  if (token().kind != Token::Kind::string) expected("“\"”");
  Scoped vocabulary(vocabulary_, vocabularyOf(token()));
  ++at_;
  return bodyOf("using terms from");
}

Node* Grammar::assignment() {
  Assign* node = program_->make<Assign>(token().range);
  ++at_;
  node->target = reference();
  checkTarget(*node->target);
  needWord("to");
  node->value = expression();
  return node;
}

Node* Grammar::copying() {
  Assign* node = program_->make<Assign>(token().range);
  ++at_;
  node->copies = true;
  node->value = expression();
  needWord("to");
  node->target = reference();
  checkTarget(*node->target);
  return node;
}

void Grammar::checkTarget(const Node& target) const {
  checkStack();
  switch (target.kind) {
    case Node::Kind::variable:
    case Node::Kind::step:
    case Node::Kind::insertion:
      return;
    case Node::Kind::list:
      for (const Node* item : static_cast<const ListNode&>(target).items) checkTarget(*item);
      return;
    default:
      break;
  }
  const bool type = target.kind == Node::Kind::literal && static_cast<const Literal&>(target).value.as<TypeName>();
  const std::string found = type ? "class name" : target.kind == Node::Kind::command ? "command name" : "expression";
  throw SyntaxError(target.range, "Expected variable name or property but found " + found + ".");
}

Node* Grammar::giveBack() {
  GiveBack* node = program_->make<GiveBack>(token().range);
  ++at_;
  if (!token().endsLine()) node->value = expression();
  return node;
}

Node* Grammar::exitRepeat() {
  const Range range = token().range;
  ++at_;
  takeWord("repeat");
  if (repeats_ == 0)
    throw SyntaxError(range, "“exit” can only stand inside of a repeat.", ErrorNumber::exitOutsideRepeat);
  return program_->make<Leaf>(Node::Kind::exitRepeat, range);
}

Node* Grammar::raise() {
  Raise* node = program_->make<Raise>(token().range);
  ++at_;
  Scoped stops(stops_, Stops{"number", "from", "to", "partial"});
  const auto clauseAhead = [this] {
    return word("number") || word("from") || word("to") || words("partial", "result");
  };
  if (!token().endsLine() && !clauseAhead()) node->text = expression();
  while (!token().endsLine() && clauseAhead()) {
    const bool to = word("to");
    Node*& clause = word("number") ? node->number : word("from") ? node->from : node->partial;
    at_ += word("partial") ? 2 : 1;
    if (to)
      typeName();
    else if (clause)
      expected("end of line, etc.");
    else
      clause = expression();
  }
  return node;
}

std::unique_ptr<Program> parse(std::string_view source, Directory& applications) {
  Grammar grammar(tokens(source), applications);
  try {
    return grammar.script();
  } catch (const ScriptError& error) {
    throw SyntaxError(grammar.here(), error.description(), error.number());
  }
}

}  // namespace AppleScript
