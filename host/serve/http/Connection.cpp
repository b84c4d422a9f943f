#include "host/serve/http/Connection.h"

#include <microhttpd.h>

#include <charconv>

#include "host/serve/http/Answer.h"
#include "util/asciiCase.h"

namespace host::serve {
namespace {

int socketOf(MHD_Connection* handle) {
  return MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

MHD_Result collectHeader(void* request, MHD_ValueKind, const char* name, std::size_t nameSize, const char* value,
                         std::size_t valueSize) {
  const std::string_view text = value == nullptr ? std::string_view() : std::string_view(value, valueSize);
  static_cast<RawRequest*>(request)->headers.emplace_back(std::string(name, nameSize), text);
  return MHD_YES;
}

/// What restarts the process if it gets no answer. So it must not wait for the workers, which may all wait for one
/// disk.
bool isProbe(std::string_view target) {
  return target == "/livez" || target == "/readyz";
}

/// Whether the value is a length in bytes up to `most`.
bool isLengthUpTo(std::string_view value, std::size_t most) {
  std::size_t length = 0;
  const auto result = std::from_chars(value.data(), value.data() + value.size(), length);
  return result.ec == std::errc() && result.ptr == value.data() + value.size() && length <= most;
}

}  // namespace

Connection::Connection(HttpParts& parts, MHD_Connection* handle)
    : parts_(parts), handle_(handle), socket_(socketOf(handle)) {
  setDeadline(parts_.limits.requestTime);
}

Connection::~Connection() {
  parts_.watch.forget(socket_);
}

void Connection::setDeadline(std::chrono::milliseconds fromNow) {
  parts_.watch.set(socket_, DeadlineWatch::Clock::now() + fromNow);
}

void Connection::beginRequest(const char* target) {
  request_.target = target;
  // The first request has one deadline, from the connection on. Later ones may come any time while it is idle.
  if (!isFirstRequest_) setDeadline(parts_.limits.requestTime);
  isFirstRequest_ = false;
}

void Connection::endRequest() {
  request_ = {};
  response_.reset();
  step_ = Step::kHeader;
  setDeadline(parts_.limits.idleTime);
}

bool Connection::proceed(const char* method, const char* content, std::size_t* size) {
  if (parts_.isStopping) return false;
  switch (step_) {
    case Step::kHeader:
      return takeHeader(method);
    case Step::kContent:
      if (*size != 0) return takeContent({content, std::exchange(*size, 0)});
      if (isProbe(request_.target)) return queue(parts_.front.answer(std::move(request_)));
      parts_.watch.forget(socket_);
      step_ = Step::kAnswer;
      parts_.runOnWorker(handle_, [this] { response_ = parts_.front.answer(std::move(request_)); });
      return true;
    case Step::kAnswer:
      return response_ && queue(*std::exchange(response_, std::nullopt));
  }
  return false;
}

bool Connection::takeHeader(const char* method) {
  request_.method = method;
  MHD_get_connection_values_n(handle_, MHD_HEADER_KIND, &collectHeader, &request_);
  step_ = Step::kContent;
  const auto error = refusal();
  if (!error) return true;
  HttpResponse response = errorResponse(*error);
  // The content that follows is not read, so nothing else can come on this connection.
  response.headers.emplace_back("Connection", "close");
  response.headers.emplace_back("Content-Type", response.type);
  return queue(std::move(response));
}

std::optional<HttpError> Connection::refusal() const {
  const HttpLimits& limits = parts_.limits;
  if (request_.target.size() > limits.targetBytes) return HttpError{.status = 414, .text = "the address is too long"};
  const auto* headerSize = MHD_get_connection_info(handle_, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
  if (headerSize != nullptr && headerSize->header_size > limits.headerBytes) {
    return HttpError{.status = 431, .text = "the headers are too long"};
  }
  int lengths = 0;
  for (const auto& [name, value] : request_.headers) {
    // "Host : a" is a Host to some proxies, and none to us (RFC 9112, 5.1).
    if (name.find_first_of(" \t") != std::string::npos) {
      return HttpError{.status = 400, .text = "a header has a space in its name"};
    }
    // Who sends content in chunks, or two lengths, could have a proxy see another end of the request than we do.
    if (qvs::util::equalInAnyCase(name, "transfer-encoding")) {
      return HttpError{.status = 411, .text = "content needs a Content-Length"};
    }
    if (!qvs::util::equalInAnyCase(name, "content-length")) continue;
    if (++lengths > 1) return HttpError{.status = 400, .text = "Content-Length: comes more than once"};
    if (!isLengthUpTo(value, limits.bodyBytes)) return HttpError{.status = 413, .text = "the content is too long"};
  }
  return std::nullopt;
}

bool Connection::takeContent(std::string_view content) {
  if (request_.body.size() + content.size() > parts_.limits.bodyBytes) return false;
  request_.body += content;
  return true;
}

bool Connection::queue(HttpResponse response) {
  const unsigned status = response.status;
  MHD_Response* answer = Answer::response(parts_, handle_, std::move(response));
  if (answer == nullptr) return false;
  parts_.watch.forget(socket_);
  const bool isQueued = MHD_queue_response(handle_, status, answer) == MHD_YES;
  MHD_destroy_response(answer);
  return isQueued;
}

}  // namespace host::serve
