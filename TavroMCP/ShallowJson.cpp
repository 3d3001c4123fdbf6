#include "TavroMCP/ShallowJson.h"

#include <utility>

#include "Platform/Json.h"

namespace ShallowJson {
namespace {

// Takes the parser's events and writes each member of the outermost object out again, compactly.
class Reader final : public nlohmann::json_sax<Json> {
 public:
  Object members;
  bool isObject = false;

  bool null() override { return value(Kind::null, "null"); }
  bool boolean(bool truth) override { return value(Kind::boolean, truth ? "true" : "false"); }
  bool number_integer(number_integer_t number) override { return value(Kind::number, std::to_string(number)); }
  bool number_unsigned(number_unsigned_t number) override { return value(Kind::number, std::to_string(number)); }
  bool number_float(number_float_t, const std::string& written) override { return value(Kind::number, written); }
  bool string(std::string& text) override {
    const bool isMember = depth_ == 1;
    value(Kind::string, quote(text));
    if (isMember) member_->text = std::move(text);
    return true;
  }
  bool binary(Json::binary_t&) override { return false; }

  bool start_object(std::size_t) override { return open(Kind::object, '{'); }
  bool start_array(std::size_t) override { return open(Kind::array, '['); }
  bool end_object() override { return close('}'); }
  bool end_array() override { return close(']'); }

  bool key(std::string& name) override {
    if (depth_ == 1) {
      member_ = &members.insert_or_assign(std::move(name), Member{}).first->second;
    } else {
      separate();
      member_->json += quote(name);
      member_->json += ':';
      needsComma_ = false;
    }
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

 private:
  void separate() {
    if (needsComma_) member_->json += ',';
    needsComma_ = true;
  }

  bool value(Kind kind, std::string_view json) {
    if (depth_ == 0) return true;  // the whole text is no object
    if (depth_ == 1)
      member_->kind = kind;
    else
      separate();
    member_->json += json;
    return true;
  }

  bool open(Kind kind, char bracket) {
    if (depth_ == 0) isObject = kind == Kind::object;
    if (!isObject) return false;
    if (depth_ > 0) {
      value(kind, {&bracket, 1});
      needsComma_ = false;
    }
    ++depth_;
    return true;
  }

  bool close(char bracket) {
    if (--depth_ > 0) {
      member_->json += bracket;
      needsComma_ = true;
    }
    return true;
  }

  std::size_t depth_ = 0;
  Member* member_ = nullptr;  // of the outermost object; set by its key
  bool needsComma_ = false;   // inside the member
};

}  // namespace

std::optional<Object> parse(std::string_view text) {
  // The parser takes a NUL for the end of its input, which would hide what stands behind it.
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  Reader reader;
  if (!Json::sax_parse(text.begin(), text.end(), &reader) || !reader.isObject) return std::nullopt;
  return std::move(reader.members);
}

const Member* find(const Object& object, std::string_view key, Kind kind) {
  const auto found = object.find(key);
  return found != object.end() && found->second.kind == kind ? &found->second : nullptr;
}

std::string quote(std::string_view text) { return JsonText::write(Json(text)); }

}  // namespace ShallowJson
