// docs/json.md and the documents that the commands print say the same.

#include <fmt/format.h>

#include "host/DirectoryLock.h"
#include "host/output.h"
#include "tests/host/hostTools.h"

namespace {

namespace fs = std::filesystem;
using namespace test;
using host::Json;

/// The tables of the page: type by field, by the name of the object; for a file "file:kind", too.
using Tables = std::map<std::string, std::map<std::string, std::string>>;

/// What stands between backticks.
std::vector<std::string> backticked(const std::string& text) {
  std::vector<std::string> names;
  std::istringstream in(text);
  std::string outside, inside;
  while (std::getline(in, outside, '`') && std::getline(in, inside, '`')) names.push_back(inside);
  return names;
}

Tables readTables() {
  Tables tables;
  std::istringstream page(readWholeFile(fs::path(K2R_SOURCE_DIR) / "docs/json.md"));
  std::string object;
  for (std::string line; std::getline(page, line);) {
    const auto names = backticked(line);
    if (line.starts_with('#')) {
      object = names.empty() ? "" : names.size() == 1 ? names[0] : names[0] + ":" + names[1];
    } else if (line.starts_with("| `")) {
      const std::size_t end = line.find(" | ");
      const std::string type = line.substr(end + 3, line.find(" | ", end + 3) - end - 3);
      for (const std::string& field : backticked(line.substr(0, end))) tables[object][field] = type;
    }
  }
  return tables;
}

/// Compares documents with the tables.
class Page {
 public:
  void expectDescribed(const Json& document) {
    expectObject(document, {"", document.at("command").get<std::string>()}, document.at("command"));
    EXPECT_EQ(document.at("schema"), 1);
  }

  /// "object.field" of all that no document had.
  std::set<std::string> unseen() const {
    std::set<std::string> missing;
    for (const auto& [object, fields] : tables_) {
      for (const auto& [field, type] : fields) missing.insert(object + "." + field);
    }
    for (const std::string& name : seen_) missing.erase(name);
    return missing;
  }

 private:
  void expectObject(const Json& value, const std::vector<std::string>& objects, const std::string& place) {
    ASSERT_TRUE(value.is_object()) << place;
    for (const auto& [field, member] : value.items()) {
      const auto object =
          std::ranges::find_if(objects, [&](const auto& name) { return tables_[name].contains(field); });
      ASSERT_NE(object, objects.end()) << place << '.' << field << " is not described";
      if (!member.is_null()) seen_.insert(*object + "." + field);
      expectType(member, tables_[*object][field], place + "." + field);
    }
  }

  void expectType(const Json& value, std::string type, const std::string& place) {
    constexpr std::string_view kOrNull = " or null", kListOf = "list of ";
    if (type.ends_with(kOrNull)) {
      if (value.is_null()) return;
      type.resize(type.size() - kOrNull.size());
    }
    if (type.starts_with(kListOf)) {
      ASSERT_TRUE(value.is_array()) << place;
      for (const Json& item : value) expectType(item, type.substr(kListOf.size()), place);
    } else if (type == "number" || type == "text" || type == "flag") {
      EXPECT_TRUE(type == "number" ? value.is_number()
                  : type == "text" ? value.is_string()
                                   : value.is_boolean())
          << place << " is " << value << ", no " << type;
    } else if (type == "file") {
      expectObject(value, {type, "file:" + value.value("kind", std::string())}, place);
    } else if (type != "any") {
      expectObject(value, {type}, place);
    }
  }

  Tables tables_ = readTables();
  std::set<std::string> seen_;
};

/// With what can be in a stream: a gap, and script data, also malformed.
RecordingPlan richPlan(bool stop) {
  auto messages = av().until(8001) + av().withoutHeaders().from(24000).until(32001);
  messages.insert(messages.begin() + 6, metadata(messages[5].time));
  messages.insert(messages.begin() + 7, {18, messages[5].time, {std::byte{2}, std::byte{9}}});
  return {.messages = std::move(messages), .stop = stop};
}

class JsonDocuments : public InDirectory {
 protected:
  Json print(std::vector<std::string> arguments, int status) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    arguments.emplace_back("--json");
    const CommandAnswer answer = k2r(arguments);
    EXPECT_EQ(answer.status, status) << answer.errors;
    Json document = Json::parse(answer.output, nullptr, false);
    EXPECT_TRUE(document.is_object()) << answer.output;
    if (!document.is_object()) return document;
    EXPECT_EQ(document["exitStatus"], status);
    // A failure has its reason; `verify` that finds damage has not failed.
    EXPECT_EQ(document["error"].is_string(), status == 1 || status == 2);
    page_.expectDescribed(document);
    return document;
  }

  Page page_;
};

TEST_F(JsonDocuments, AreAsThePageDescribesThemAndHaveAllThatItDescribes) {
  // Recording, well and not so well.
  writeTagStream(av().until(8001), "in.mtg");
  writeTagStream(std::vector<StreamMessage>{{22, 0, std::vector<std::byte>(1)}} + av().until(8001), "odd.mtg");
  writeWholeFile("noise", std::string(5000, 'x'));
  ASSERT_EQ(k2r({"keys", "new", "keys"}).status, 0);
  EXPECT_EQ(print({"record", "in.mtg", "--out", "cam1"}, 0)["directories"].size(), 1U);
  print({"record", "in.mtg", "--out", "secret", "--config", "keys/recording.conf"}, 0);
  print({"record", "odd.mtg", "--out", "odd", "--tail", "drop"}, 3);
  print({"record", "missing.mtg", "--out", "a"}, 1);
  print({"record", "in.mtg", "--out", "cam1"}, 1);
  print({"record", "in.mtg", "--out", "b", "--set", "nonsense"}, 2);
  print({"record", "in.mtg"}, 2);
  print({"inspect"}, 2);
  print({"verify", "cam1", "--nonsense"}, 2);

  // Whole, running, damaged and repairable recordings.
  const MadeRecording rich(richPlan(true)), running(richPlan(false)), damaged(richPlan(true));
  damaged.write(".bootstrap", "nothing at all");
  damaged.write("Seg1.k2r", damaged.read("Seg1.k2r").substr(0, 9000));
  const MadeRecording repairable({.messages = av().until(8001), .stop = false});
  repairable.remove(".control");
  const MadeRecording torn({.messages = av().until(8001)});
  torn.remove("Seg1.k2i");
  std::string forged = readWholeFile("secret/secret.drmmeta");
  forged[forged.size() / 2] = forged[forged.size() / 2] == 'A' ? 'B' : 'A';
  writeWholeFile("secret/forged.drmmeta", forged);
  const host::DirectoryLock lock(running.directory());

  const Json inspected = print({"inspect", rich.directory(), "in.mtg", "secret", "secret/forged.drmmeta"}, 0);
  ASSERT_EQ(inspected["files"].size(), 4U);
  EXPECT_EQ(inspected["files"][0]["files"].size(), 5U);
  EXPECT_EQ(inspected["files"][0]["summary"]["gapDuration"], 15500);
  print({"inspect", running.directory()}, 0);
  print({"inspect", torn.directory()}, 0);
  const Json broken = print({"inspect", damaged.directory(), "noise", "missing"}, 1);
  EXPECT_GT(broken["files"][0]["summary"]["unreadableCount"], 1);
  EXPECT_EQ(broken["files"].size(), 3U) << "one that cannot be read does not hide the rest";

  print({"verify", rich.directory()}, 0);
  print({"verify", repairable.directory()}, 5);
  EXPECT_EQ(print({"verify", damaged.directory()}, 4)["status"], "damaged");
  print({"verify", "missing"}, 1);
  EXPECT_EQ(page_.unseen(), std::set<std::string>());
}

}  // namespace
