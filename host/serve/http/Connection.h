#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "host/serve/http/HttpParts.h"

struct MHD_Response;

namespace host::serve {

/// A client's connection, and the request that it is in. Used by its network thread, and by one worker while it is
/// suspended.
class Connection {
 public:
  /// `parts` outlives it.
  Connection(HttpParts& parts, MHD_Connection* handle);
  /// The socket is still open.
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// The request line was received.
  void beginRequest(const char* target);
  /// The library calls it when it has the header, for each part of the content, when it has all, and when a worker has
  /// run. Sets `*size` to the bytes it leaves. Returns false to close the connection.
  bool proceed(const char* method, const char* content, std::size_t* size);
  /// The answer was sent, or the connection failed.
  void endRequest();

 private:
  enum class Step { kHeader, kContent, kAnswer };

  bool takeHeader(const char* method);
  bool takeContent(std::string_view content);
  /// Why the request is refused before its content is read.
  std::optional<HttpError> refusal() const;
  bool queue(HttpResponse response);
  void setDeadline(std::chrono::milliseconds fromNow);

  HttpParts& parts_;
  MHD_Connection* handle_;
  int socket_;
  bool isFirstRequest_ = true;
  Step step_ = Step::kHeader;
  RawRequest request_;
  std::optional<HttpResponse> response_;
};

}  // namespace host::serve
