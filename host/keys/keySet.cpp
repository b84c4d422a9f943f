#include "host/keys/keySet.h"

#include <fmt/format.h>

#include "host/Settings.h"
#include "host/errors.h"
#include "host/output.h"
#include "platform/encryption/krvo_issuing.h"
#include "util/bytes.h"

namespace host {
namespace {

using namespace krvo::encryption;
using Access = NewFiles::Access;

constexpr int kDaysBack = 1;  // for machines whose clock is slow
constexpr int kDaysValid = 3650;

/// The policy of the set. Recordings carry it, and no program here reads it.
constexpr const char* kPolicy =
    "A policy is whatever the license server understands; the recorder only binds it to the key.\n"
    "play: anyone\n";

std::string randomText(std::size_t bytes) {
  return hexText(randomBytes(bytes).bytes());
}

/// Writes `<name>.key` and `<name>.crt`.
void writeKeyPair(NewFiles& files, const std::string& name, const std::string& commonName, KeyType type) {
  const auto key = generateKey(type);
  const auto certificate = issueCertificate(*key, commonName, CertificateUse::kKeyWrapping, -kDaysBack, kDaysValid);
  files.write(name + ".key", privateKeyPem(*key).bytes(), Access::kOwner);
  files.write(name + ".crt", qvs::util::asBytes(certificatePem(*certificate)), Access::kEveryone);
}

/// Writes the packager's certificate with its key, encrypted with the password that is in the settings.
void writeCredential(NewFiles& files, const std::string& password) {
  const auto key = generateKey(KeyType::kEcP256);
  const auto certificate =
      issueCertificate(*key, "k2r trial packager", CertificateUse::kSigning, -kDaysBack, kDaysValid);
  files.write("packager.p12", makeCredential(key.get(), certificate.get(), password), Access::kOwner);
}

std::string settingsText(const NewFiles& files, const std::string& password) {
  std::string text = "# Settings of a protected recording, for k2r record --config.\n";
  const auto add = [&text](const char* key, const std::string& value) {
    text += fmt::format("Recording/{} = {}\n", key, value);
  };
  add("IsProtected", "true");
  add("VantryV2/ContentID", "trial-" + randomText(8));
  add("VantryV2/CommonKeyPath", files.pathOf("common.key"));
  add("VantryV2/LicenseServerURL", "https://license-server.example/");
  add("VantryV2/TransportCertPath", files.pathOf("transport.crt"));
  add("VantryV2/LicenseServerCertPath", files.pathOf("license-server.crt"));
  add("VantryV2/PackagerCredentialPath", files.pathOf("packager.p12"));
  add("VantryV2/PackagerCredentialPwd", password);
  add("VantryV2/PolicyPath", files.pathOf("policy.txt"));
  text += "# What is encrypted. Levels of video: 0 key frames, 1 frames that others refer to as well, 2 all.\n";
  add("VantryV2/EncryptAudio", "true");
  add("VantryV2/EncryptVideo", "true");
  add("VantryV2/EncryptData", "true");
  add("VantryV2/VideoEncryptLevel", "2");
  return text;
}

/// Throws UsageError if the settings, read back, do not have the path: an end of line or a quote in it would change it.
void checkPaths(const NewFiles& files, const std::string& text) {
  Settings settings;
  const auto readBack = [&]() -> const std::string* {
    try {
      settings.readText(text, kKeySetSettings);
      return settings.find("Recording/VantryV2/PolicyPath");
    } catch (const UsageError&) {
      return nullptr;
    }
  };
  const std::string* const path = readBack();
  if (path == nullptr || *path != files.pathOf("policy.txt")) {
    throw UsageError(fmt::format("the path '{}' cannot be written in a file of settings", files.directory()));
  }
}

}  // namespace

void makeKeySet(NewFiles& files) {
  const std::string password = randomText(16);
  const std::string settings = settingsText(files, password);
  // Before the first file is written, as the user has to choose another directory.
  checkPaths(files, settings);
  try {
    files.write("common.key", generateContentKey().bytes(), Access::kOwner);
    writeKeyPair(files, "license-server", "k2r trial license server", KeyType::kRsa2048);
    writeKeyPair(files, "transport", "k2r trial transport", KeyType::kEcP256);
    writeCredential(files, password);
  } catch (const StatusError& error) {
    throw CommandError(fmt::format("keys cannot be made: encryption status {}", error.status()));
  }
  files.write("policy.txt", qvs::util::asBytes(kPolicy), Access::kEveryone);
  // Last, and for the owner only: it has the password.
  files.write(kKeySetSettings, qvs::util::asBytes(settings), Access::kOwner);
}

}  // namespace host
