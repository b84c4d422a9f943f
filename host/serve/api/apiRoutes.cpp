#include "host/serve/api/apiRoutes.h"

#include "host/serve/api/MetricsText.h"
#include "host/serve/api/documents.h"
#include "host/serve/api/metrics.h"
#include "host/serve/requestedStream.h"

namespace host::serve {
namespace {

using Action = std::function<bool(const std::string& stream)>;

HttpResponse control(const ApiSources& sources, const HttpRequest& request, const Action& action, const char* refusal) {
  const std::string& stream = requestedStream(request);
  if (!sources.find(stream)) throw noSuchStream();
  if (!action(stream)) throw HttpError{.status = 409, .text = refusal};
  return {.status = 204};
}

HttpResponse plain(unsigned status, const char* text) {
  return {.status = status, .body = Body(text)};
}

}  // namespace

void addApiRoutes(Router& router, const ApiSources& sources) {
  const ApiSources* from = &sources;
  router.add("GET", "/v1/streams", [from](const HttpRequest&) { return jsonResponse(streamsDocument(*from)); });
  router.add("GET", "/v1/streams/*/recordings", [from](const HttpRequest& request) {
    return jsonResponse(recordingsDocument(*from, request, requestedStream(request)));
  });
  router.add("POST", "/v1/streams/*/start", [from](const HttpRequest& request) {
    return control(*from, request, from->start, "the stream cannot be started");
  });
  router.add("POST", "/v1/streams/*/stop", [from](const HttpRequest& request) {
    return control(*from, request, from->stop, "the stream cannot be stopped");
  });
  router.add("POST", "/v1/streams/*/rotate", [from](const HttpRequest& request) {
    return control(*from, request, from->rotate, "the stream is not recorded at the moment");
  });
  router.add("GET", "/metrics", [from](const HttpRequest&) {
    return HttpResponse{.type = MetricsText::kType, .body = Body(metricsText(*from))};
  });
  router.add("GET", "/livez", [](const HttpRequest&) { return plain(200, "ok\n"); });
  router.add("GET", "/readyz", [from](const HttpRequest&) {
    return from->isReady() ? plain(200, "ok\n") : plain(503, "the recordings on disk are still being read\n");
  });
  // Always 200: a camera that is dead is no reason to restart the process, which records the others.
  router.add("GET", "/v1/health", [from](const HttpRequest&) { return jsonResponse(healthDocument(*from)); });
}

}  // namespace host::serve
