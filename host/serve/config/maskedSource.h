#pragma once

#include <string>
#include <string_view>

namespace host::serve {

/// The text with `***` in place of each secret that it shows by its form: the password before the `@` of a URL,
/// wherever in the text the URL is, the last part of the path of an RTMP one, and the value of each `name=value` whose
/// name says that it is one (password, token, key and the like). Rather too much is masked than too little.
std::string maskedSource(std::string_view source);

/// The same for an option of libavformat, `KEY=VALUE`. Headers and cookies are secret as a whole.
std::string maskedOption(std::string_view assignment);

/// An error text about `source`, with the secrets of both masked: those of the source wherever they are words of the
/// text, also with their percent signs decoded, since libav quotes addresses as it has taken them apart.
std::string maskedText(std::string_view text, std::string_view source);

}  // namespace host::serve
