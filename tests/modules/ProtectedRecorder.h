#pragma once

#include <map>
#include <string>

#include "tests/module/loadModule.h"
#include "tests/support/ProtectionSet.h"
#include "tests/support/Recorder.h"

namespace test {

/// A recorder with the settings of a protected recording and, in a directory of its own, the files that they name. Keys
/// and certificates are the same for the whole program: they take a while to make.
struct ProtectedRecorder : Recorder {
  ProtectedRecorder() : Recorder(loadModule()) {
    static const ProtectionSet set(krvo::encryption::KeyType::kEcP256);
    host.settings["Recording/IsProtected"] = "true";
    setting("ContentID") = set.contentId;
    setting("LicenseServerURL") = set.url;
    setting("PackagerCredentialPwd") = set.password;
    addFile("CommonKeyPath", set.key);
    addFile("TransportCertPath", set.transportCertificate);
    addFile("LicenseServerCertPath", set.licenseServerCertificate);
    addFile("PackagerCredentialPath", set.credential);
    addFile("PolicyPath", set.policy);
  }

  std::string& setting(const std::string& key) { return host.settings["Recording/VantryV2/" + key]; }
  void addFile(const std::string& key, std::span<const std::byte> content) {
    writeWholeFile(keys.path() / key, std::string(reinterpret_cast<const char*>(content.data()), content.size()));
    setting(key) = keys.file(key);
  }
  /// Content of every file of the recording.
  std::map<std::string, std::string> snapshot() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(directory())) {
      all[entry.path().filename().string()] = readWholeFile(entry.path());
    }
    return all;
  }

  TempDirectory keys;
};

}  // namespace test
