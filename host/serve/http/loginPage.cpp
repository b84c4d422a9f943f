#include "host/serve/http/loginPage.h"

#include <fmt/format.h>

namespace host::serve {
namespace {

constexpr const char* kPage = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>k2r: token</title>
<style>
:root {{ color-scheme: light dark; font: 1rem/1.5 system-ui, sans-serif; }}
main {{ max-width: 22rem; margin: 15vh auto; padding: 0 1rem; }}
label, input, button {{ display: block; width: 100%; box-sizing: border-box; font: inherit; }}
input, button {{ margin-top: .5rem; padding: .5rem; }}
</style>
</head>
<body>
<main>
<h1>k2r</h1>
<form method="post" action="login">
<label for="token">Token of this server</label>
<input id="token" name="token" type="password" autocomplete="current-password" required autofocus{}>
{}<button>Sign in</button>
</form>
</main>
</body>
</html>
)";

constexpr const char* kWrong = "<p id=\"wrong\" role=\"alert\">This is not the token.</p>\n";

}  // namespace

HttpResponse loginPage(unsigned status, bool wasWrong) {
  HttpResponse response{.status = status, .type = "text/html; charset=utf-8"};
  response.body =
      Body(fmt::format(fmt::runtime(kPage), wasWrong ? " aria-describedby=\"wrong\" aria-invalid=\"true\"" : "",
                       wasWrong ? kWrong : ""));
  response.headers.emplace_back(
      "Content-Security-Policy",
      "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'");
  if (status == 401) response.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"k2r\"");
  return response;
}

}  // namespace host::serve
