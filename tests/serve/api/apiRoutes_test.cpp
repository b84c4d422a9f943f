#include "tests/serve/api/SampleApi.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fstream>

#include "host/serve/api/StaticFiles.h"
#include "host/serve/http/HttpFront.h"
#include "tests/serve/http/contentOf.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace host::serve;
using host::Json;
using test::contentOf;
using testing::ElementsAre;
using testing::HasSubstr;

struct ApiTest : testing::Test, test::SampleApi {
  std::vector<std::string> actions;
  DurationHistogram writes;

  ApiTest() {
    views[0].snapshot.lastError = "no route to host";
    views[0].snapshot.lastErrorAtMs = 1'795'615'400'000;
    views[1].snapshot.lastError.clear();
    views[1].snapshot.receivedBytesPerSecond = 1000;
    sources.start = [this](const std::string& name) { return actions.push_back("start " + name), true; };
    sources.stop = [this](const std::string& name) { return actions.push_back("stop " + name), true; };
    sources.rotate = [this](const std::string& name) { return actions.push_back("rotate " + name), name == "gate"; };
  }

  HttpResponse ask(const std::string& target, const std::string& method = "GET") {
    const HttpFront front(
        {}, [this](const HttpRequest& request) { return router(request); }, [](const std::string&) {});
    return front.answer({.method = method, .target = target, .headers = {{"Host", "localhost"}}, .body = {}});
  }
  Json document(const std::string& target) { return Json::parse(contentOf(ask(target).body)); }
  std::vector<std::string> names(const std::string& query) {
    std::vector<std::string> result;
    const Json page = document("/v1/streams/gate/recordings" + query);
    for (const auto& recording : page["recordings"]) {
      result.push_back(recording["name"].get<std::string>().substr(9, 2));
    }
    return result;
  }
};

TEST_F(ApiTest, ListsStreamsWithoutTheirSecrets) {
  const Json list = document("/v1/streams");
  EXPECT_EQ(list["streams"].size(), 3u);
  EXPECT_EQ(list["streams"][0], Json::parse(R"({
    "name": "attic", "state": "failed", "since": "2026-11-25T14:03:20.500Z",
    "lastError": {"text": "no route to host", "time": "2026-11-25T14:03:20.000Z"}, "source": "***@attic",
    "receivedBytesPerSecond": 0.0, "lastFragment": null, "recording": "", "recordings": 0, "bytes": 300})"));
  EXPECT_EQ(list["streams"][1]["lastError"], nullptr);
}

TEST_F(ApiTest, ListsTheRecordingsOfATime) {
  EXPECT_THAT(names(""), ElementsAre("12", "13", "14"));
  EXPECT_THAT(names("?start=2026-11-25T13:30:00Z"), ElementsAre("13", "14"));
  EXPECT_THAT(names("?start=2026-11-25T12:00:00Z&duration=1h"), ElementsAre("12"));
  EXPECT_THAT(names("?end=2026-11-25T13:30:00%2B00:00"), ElementsAre("12", "13"));
  EXPECT_EQ(document("/v1/streams/gate/recordings?limit=1")["recordings"][0], Json::parse(R"({
    "name": "20261125T120000.000Z", "begin": "2026-11-25T12:00:00.000Z", "end": "2026-11-25T13:00:00.000Z",
    "bytes": 100, "state": "finished", "protected": false,
    "gaps": [{"begin": "2026-11-25T12:00:01.000Z", "end": "2026-11-25T12:00:02.000Z"}]})"));
  EXPECT_THAT(document("/v1/streams/attic/recordings")["recordings"], testing::IsEmpty());
}

TEST_F(ApiTest, PagesHaveEachRecordingOnce) {
  // Two with the same begin.
  recordings.insert(recordings.begin() + 1, recordings[0]);
  recordings[1].name += "-2";
  for (const int limit : {1, 2, 3, 4}) {
    std::vector<std::string> seen;
    std::string after;
    for (bool isMore = true; isMore;) {
      const Json page =
          document("/v1/streams/gate/recordings?start=2026-11-25T12:10:00Z&limit=" + std::to_string(limit) + after);
      for (const auto& recording : page["recordings"]) seen.push_back(recording["name"]);
      isMore = !page["next"].is_null();
      if (isMore) after = "&after=" + page["next"].get<std::string>();
    }
    EXPECT_THAT(seen, ElementsAre("20261125T120000.000Z", "20261125T120000.000Z-2", "20261125T130000.000Z",
                                  "20261125T140000.000Z"))
        << limit;
  }
}

TEST_F(ApiTest, RefusesWhatItDoesNotKnow) {
  for (const char* query : {"start=yesterday", "limit=0", "limit=10001", "limit=-1", "after=../x"}) {
    EXPECT_EQ(ask(std::string("/v1/streams/gate/recordings?") + query).status, 400u) << query;
  }
  for (const char* target :
       {"/v1/streams/nobody/recordings", "/v1/streams/..%2Fgate/recordings", "/v1/streams/ga%00te/recordings",
        "/v1/streams/../streams/gate/recordings", "/v1/streams//recordings", "/v1/streams/", "/"}) {
    EXPECT_EQ(ask(target).status, 404u) << target;
  }
  EXPECT_EQ(ask("/v1/streams/nobody/start", "POST").status, 404u);
  EXPECT_EQ(ask("/v1/streams/yard/rotate", "POST").status, 409u);
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"GET", "/v1/streams/gate/start", "POST, OPTIONS"},
      {"DELETE", "/v1/streams/gate/stop", "POST, OPTIONS"},
      {"PUT", "/v1/streams", "GET, HEAD, OPTIONS"}};
  for (const auto& [method, target, allowed] : rows) {
    const HttpResponse response = ask(target, method);
    EXPECT_EQ(response.status, 405u) << target;
    EXPECT_THAT(response.headers, testing::Contains(testing::Pair("Allow", allowed))) << target;
  }
}

TEST_F(ApiTest, ControlsStreams) {
  EXPECT_EQ(ask("/v1/streams/yard/start", "POST").status, 204u);
  EXPECT_EQ(ask("/v1/streams/gate/stop", "POST").status, 204u);
  EXPECT_EQ(ask("/v1/streams/gate/rotate", "POST").status, 204u);
  EXPECT_THAT(actions, ElementsAre("start yard", "stop gate", "rotate gate"));
}

TEST_F(ApiTest, HealthNamesWhatDoesNotRecord) {
  isReady = false;
  EXPECT_EQ(ask("/livez").status, 200u);
  EXPECT_EQ(ask("/readyz").status, 503u);
  EXPECT_EQ(ask("/v1/health").status, 200u);
  Json health = document("/v1/health");
  EXPECT_EQ(health["status"], "degraded");
  EXPECT_EQ(health["ready"], false);
  EXPECT_EQ(health["notRecording"].size(), 2u);
  EXPECT_EQ(health["notRecording"][0]["name"], "attic");
  EXPECT_EQ(health["notRecording"][0]["lastError"]["text"], "no route to host");
  isReady = true;
  EXPECT_EQ(ask("/readyz").status, 200u);
  views.erase(views.begin());
  EXPECT_EQ(document("/v1/health")["status"], "ok") << "a stream that somebody stopped is no fault";
  sources.hooks = [] { return std::map<std::string, HookStatus>{{"gate", {.alarms = 1, .lastError = "exit 1"}}}; };
  health = document("/v1/health");
  EXPECT_EQ(health["status"], "degraded");
  EXPECT_EQ(health["failingHooks"][0]["lastError"], "exit 1");
}

TEST_F(ApiTest, MetricsHaveEveryStreamAndReasonFromTheStart) {
  const std::string metrics = contentOf(ask("/metrics").body);
  EXPECT_THAT(metrics, HasSubstr("\n# HELP k2r_stream_up Whether"));
  EXPECT_THAT(metrics, HasSubstr("\n# TYPE k2r_stream_up gauge\nk2r_stream_up{stream=\"attic\"} 0\n"));
  EXPECT_THAT(metrics, HasSubstr("\nk2r_stream_up{stream=\"gate\"} 1\n"));
  EXPECT_THAT(metrics, HasSubstr("\nk2r_stream_recordings{stream=\"gate\"} 3\n"));
  for (const char* reason : {"source", "no_key_frame", "queue", "refused", "tail"}) {
    for (const char* unit : {"seconds", "frames"}) {
      EXPECT_THAT(metrics, HasSubstr(fmt::format("\nk2r_stream_lost_{}_total{{stream=\"yard\",reason=\"{}\"}} 0\n",
                                                 unit, reason)));
    }
  }
  for (const char* name : {"received_bytes_total", "received_frames_total", "stored_bytes_total", "stored_frames_total",
                           "gaps_total", "reconnects_total", "queue_bytes", "last_fragment_timestamp_seconds"}) {
    EXPECT_THAT(metrics, HasSubstr(fmt::format("\nk2r_stream_{}{{stream=\"yard\"}} 0\n", name)));
  }
  EXPECT_THAT(metrics, HasSubstr("\nk2r_fragment_write_duration_seconds_bucket{le=\"+Inf\"} 0\n"));
}

TEST_F(ApiTest, MetricsKeepLargeNumbersAndOddNames) {
  views[1].snapshot.stored.bytes = 9'007'199'254'740'991;
  views[1].snapshot.lastFragmentAtMs = 1'795'615'400'500;
  views[1].snapshot.lostSeconds[2] = 0.5;
  sources.disks = [] { return std::vector<DiskSpace>{{"/a \"b\"\\c\n", 7}, {"/gone", std::nullopt}}; };
  sources.removed = [] { return std::vector<RemovedCount>{{"keep_for", 0}, {"keep_bytes", 2}}; };
  sources.hooks = [] { return std::map<std::string, HookStatus>{{"gate", {.failed = 2, .lastError = {}}}}; };
  const std::string metrics = contentOf(ask("/metrics").body);
  for (const char* line :
       {R"(k2r_stream_stored_bytes_total{stream="gate"} 9007199254740991)",
        R"(k2r_stream_last_fragment_timestamp_seconds{stream="gate"} 1795615400.5)",
        R"(k2r_stream_lost_seconds_total{stream="gate",reason="queue"} 0.5)",
        R"(k2r_disk_free_bytes{root="/a \"b\"\\c\n"} 7)", R"(k2r_removed_recordings_total{reason="keep_bytes"} 2)",
        R"(k2r_hook_runs_total{stream="gate",result="failure"} 2)"}) {
    EXPECT_THAT(metrics, HasSubstr(fmt::format("\n{}\n", line)));
  }
  EXPECT_THAT(metrics, testing::Not(HasSubstr("/gone")));
}

TEST_F(ApiTest, MetricsCountDurationsUpToEachBound) {
  sources.fragmentWrites = &writes;
  for (const int microseconds : {1000, 1001, 20'000'000, -5}) writes.add(std::chrono::microseconds(microseconds));
  const std::string metrics = contentOf(ask("/metrics").body), name = "\nk2r_fragment_write_duration_seconds";
  for (const char* line : {R"(_bucket{le="0.001"} 2)", R"(_bucket{le="0.0025"} 3)", R"(_bucket{le="10"} 3)",
                           R"(_bucket{le="+Inf"} 4)", "_count 4", "_sum 20.002001"}) {
    EXPECT_THAT(metrics, HasSubstr(name + line));
  }
}

TEST_F(ApiTest, ServesTheFilesOfThePageAndNoOthers) {
  test::TempDirectory web;
  std::filesystem::create_directory(web.path() / "lib");
  std::ofstream(web.file("index.html")) << "<p>";
  std::ofstream(web.file("lib/a.mjs")) << "let a;";
  std::ofstream(web.file("*")) << "star";
  std::ofstream(web.file("%41")) << "percent";
  StaticFiles(web.file("none")).addRoutes(router);
  StaticFiles(web.path()).addRoutes(router);
  const auto page = ask("/");
  EXPECT_EQ(page.type, "text/html; charset=utf-8");
  EXPECT_EQ(contentOf(page.body), "<p>");
  EXPECT_THAT(page.headers,
              testing::Contains(testing::Pair("Content-Security-Policy", HasSubstr("default-src 'self'"))));
  EXPECT_EQ(ask("/index.html").etag, page.etag);
  EXPECT_EQ(ask("/lib/a.mjs?v=1").type, "text/javascript; charset=utf-8");
  EXPECT_NE(ask("/lib/a.mjs").etag, page.etag);
  // Whatever comes into the folder later was not there.
  std::ofstream(web.file("later.txt")) << "later";
  for (const char* target : {"/later.txt", "/lib", "/lib/", "/lib%2Fa.mjs", "/x", "/*", "/%41", "/A", "/../index.html",
                             "/lib/../index.html", "//index.html", "/etc/passwd"}) {
    EXPECT_EQ(ask(target).status, 404u) << target;
  }
}

}  // namespace
