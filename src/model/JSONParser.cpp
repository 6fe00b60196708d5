#include "model/JSONParser.h"

#include <cstddef>
#include <nlohmann/json.hpp>
#include <utility>

#include "foundation/text/Unicode.h"

namespace corvane::json {
namespace {

using Library = nlohmann::json;

constexpr std::size_t longestReason = 200;

/// nlohmann's texts begin with "[json.exception.parse_error.101] ", which is of no use to a reader.
std::string reasonOf(const Library::exception& failure) {
  const std::string_view text = failure.what();
  const auto end = text.find("] ");
  std::string reason(end == std::string_view::npos ? text : text.substr(end + 2));
  // It holds the last token, which may be megabytes long.
  if (reason.size() > longestReason) {
    reason.resize(longestReason);
    removeIncompleteCharacter(reason);
    reason += "…";
  }
  return reason;
}

/// Builds a node from the events of the library's parser, which is not recursive. Containers that are not
/// kept are counted, so that the stack and the tree do not grow with their depth.
class NodeBuilder final : public Library::json_sax_t {
 public:
  explicit NodeBuilder(Root root) : keepsArray_(root == Root::array) {}

  Node take() { return std::move(root_); }

  // The events; each returns whether to go on.
  bool null() override { return put(nullptr); }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(std::int64_t value) override { return putInteger(value); }
  bool number_unsigned(std::uint64_t value) override { return putInteger(value); }
  bool number_float(double value, const std::string& text) override { return put(Node::Number{value, text}); }
  bool string(std::string& text) override { return put(std::move(text)); }
  bool binary(Library::binary_t&) override { return false; }  // not in JSON
  bool start_object(std::size_t) override { return open(Node::Object(), open_.size() < deepestObject); }
  bool start_array(std::size_t) override { return open(Node::Array(), keepsArray_ && open_.empty()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(std::string& name) override {
    if (skipped_ == 0) name_ = std::move(name);
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const Library::exception& failure) override {
    throw DecodingFailure(reasonOf(failure));
  }

 private:
  static constexpr std::size_t deepestObject = 8;

  template <class Integer>
  bool putInteger(Integer value) {
    return put(Node::Number{static_cast<double>(value), std::to_string(value)});
  }

  template <class Value>
  bool put(Value&& value) {
    if (skipped_ == 0) place().value = std::forward<Value>(value);
    return true;
  }

  template <class Container>
  bool open(Container empty, bool keepsContent) {
    if (skipped_ > 0 || !keepsContent) {
      put(std::move(empty));
      ++skipped_;
      return true;
    }
    Node& node = place();
    node.value = std::move(empty);
    open_.push_back(&node);
    return true;
  }

  bool close() {
    if (skipped_ > 0) {
      --skipped_;
    } else {
      open_.pop_back();
    }
    return true;
  }

  /// Where the next value belongs.
  Node& place() {
    if (open_.empty()) return root_;
    if (auto* array = std::get_if<Node::Array>(&open_.back()->value)) return array->emplace_back();
    return std::get<Node::Object>(open_.back()->value)[name_];
  }

  const bool keepsArray_;
  Node root_;
  std::vector<Node*> open_;  // from the outermost; a container grows only while it is the last one
  std::size_t skipped_ = 0;  // how many containers are open whose content is not kept
  std::string name_;
};

}  // namespace

Node parse(std::string_view bytes, Root root) {
  // The JSON library takes NUL for the end of its input. JSON allows it nowhere.
  if (bytes.find('\0') != bytes.npos) throw DecodingFailure("a NUL byte stands in the JSON");
  NodeBuilder builder(root);
  Library::sax_parse(bytes, &builder);
  return builder.take();
}

}  // namespace corvane::json
