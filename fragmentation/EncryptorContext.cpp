#include "fragmentation/EncryptorContext.h"

#include "fragmentation/EncryptorContextException.h"
#include "fragmentation/RecordingSettings.h"
#include "fragmentation/loadFile.h"
#include "platform/os/wipe.h"

namespace ruvo::k2r {
namespace {

using namespace qvs::k2r;
using qvs::util::ByteBuffer;

constexpr std::uint32_t kHighestLevel = 2;
constexpr std::uint32_t kDefaultLevel = 2;

template <typename Missing>
std::string require(const RecordingSettings& settings, const char* key) {
  std::string value = settings.readString(key, {});
  if (value.empty()) throw Missing();
  return value;
}

template <typename Missing>
ByteBuffer loadRequired(const RecordingSettings& settings, const char* key) {
  return loadFile(require<Missing>(settings, key));
}

EncryptionOptions readOptions(const RecordingSettings& settings) {
  EncryptionOptions options{};
  options.encryptAudio = settings.readBool("Recording/VantryV2/EncryptAudio", true) ? 1 : 0;
  options.encryptVideo = settings.readBool("Recording/VantryV2/EncryptVideo", true) ? 1 : 0;
  options.encryptData = settings.readBool("Recording/VantryV2/EncryptData", true) ? 1 : 0;
  options.videoEncryptLevel = settings.readUnsigned("Recording/VantryV2/VideoEncryptLevel", kDefaultLevel);
  if (options.videoEncryptLevel > kHighestLevel) throw InvalidVideoEncryptLevelException();
  return options;
}

}  // namespace

EncryptorContext::~EncryptorContext() {
  platform::os::wipe({commonKey_.data(), static_cast<std::size_t>(commonKey_.size())});
  // A short string that was moved from still has its characters in place, after its end: so the whole capacity is
  // wiped.
  packagerCredentialPassword_.resize(packagerCredentialPassword_.capacity());
  platform::os::wipe(std::as_writable_bytes(std::span(packagerCredentialPassword_)));
}

EncryptorContext readEncryptorContext(IMOStreamOpenContext& openContext) {
  // The order is part of the behaviour: the first thing that is missing is the one in the log, and no file is opened
  // after it.
  const RecordingSettings settings(openContext);
  EncryptorContext context;
  context.contentId_ = require<NoContentIDException>(settings, "Recording/VantryV2/ContentID");
  context.commonKey_ = loadRequired<NoCommonKeyException>(settings, "Recording/VantryV2/CommonKeyPath");
  context.licenseServerUrl_ = require<NoLicenseServerURLException>(settings, "Recording/VantryV2/LicenseServerURL");
  context.transportCert_ = loadRequired<NoTransportCertException>(settings, "Recording/VantryV2/TransportCertPath");
  context.licenseServerCert_ =
      loadRequired<NoLicenseServerCertException>(settings, "Recording/VantryV2/LicenseServerCertPath");
  context.packagerCredential_ =
      loadRequired<NoPackagerCredentialException>(settings, "Recording/VantryV2/PackagerCredentialPath");
  context.packagerCredentialPassword_ =
      require<NoPackagerCredentialPwdException>(settings, "Recording/VantryV2/PackagerCredentialPwd");
  // Once the text is in its member: pages are locked by address, and an assignment may move a text to another page.
  platform::os::keepPrivate(std::as_bytes(std::span(context.packagerCredentialPassword_)));
  context.policy_ = loadRequired<NoPolicyException>(settings, "Recording/VantryV2/PolicyPath");
  context.encryptionOptions_ = readOptions(settings);
  return context;
}

rkx::RKXEncryptor makeEncryptor(const IEncryptorContext& context) {
  return {context.commonKey().bytes(), context.contentId(), context.encryptionOptions()};
}

}  // namespace ruvo::k2r
