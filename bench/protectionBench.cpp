// The hot path of a protected recording, beside what OpenSSL alone takes to encrypt the same samples.

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <stdexcept>

#include "bench/measureRecording.h"
#include "platform/encryption/krvo_issuing.h"

namespace {

using bench::kMegabit;
using bench::Message;

/// The settings of a protected recording, and the files that they name.
class KeyFiles {
 public:
  KeyFiles() {
    using namespace krvo::encryption;
    std::filesystem::create_directories(kDirectory);
    const auto certificateOf = [](EVP_PKEY& key) {
      return certificatePem(*issueCertificate(key, "benchmark", CertificateUse::kKeyWrapping, -1, 1));
    };
    const auto packager = generateKey(KeyType::kEcP256);
    const auto signing = issueCertificate(*packager, "packager", CertificateUse::kSigning, -1, 1);
    const auto credential = makeCredential(packager.get(), signing.get(), "password");
    settings["Recording/IsProtected"] = "true";
    set("ContentID", "content");
    set("LicenseServerURL", "https://license.example/");
    set("PackagerCredentialPwd", "password");
    addFile("CommonKeyPath", "a key of 16 byte");
    addFile("TransportCertPath", certificateOf(*generateKey(KeyType::kEcP256)));
    addFile("LicenseServerCertPath", certificateOf(*generateKey(KeyType::kEcP256)));
    addFile("PackagerCredentialPath", {reinterpret_cast<const char*>(credential.data()), credential.size()});
    addFile("PolicyPath", "policy");
  }
  ~KeyFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(kDirectory, ignored);
  }
  KeyFiles(const KeyFiles&) = delete;
  KeyFiles& operator=(const KeyFiles&) = delete;

  bench::Settings settings;

 private:
  static constexpr const char* kDirectory = "/dev/shm/k2rbenchkeys";

  void set(const std::string& key, const std::string& value) { settings["Recording/VantryV2/" + key] = value; }
  void addFile(const std::string& key, const std::string& content) {
    const std::string path = std::string(kDirectory) + "/" + key;
    std::ofstream(path, std::ios::binary) << content;
    set(key, path);
  }
};

void recordProtected(benchmark::State& state) {
  const KeyFiles keys;
  bench::measure(state,
                 {.videoBitRate = static_cast<std::size_t>(state.range(0)) * kMegabit, .settings = keys.settings});
}

/// The cipher alone: for each sample a fresh vector, and its bytes into memory that stays the same.
void encryptAlone(benchmark::State& state) {
  const auto fragment = bench::makeFragment(static_cast<std::size_t>(state.range(0)) * kMegabit);
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                &EVP_CIPHER_CTX_free);
  const unsigned char key[] = "a key of 16 byte";
  if (EVP_EncryptInit_ex2(context.get(), EVP_aes_128_cbc(), key, nullptr, nullptr) != 1)
    throw std::runtime_error("key");
  std::vector<unsigned char> cipherText(1 << 20);
  unsigned char vector[16];
  for (auto _ : state) {
    for (const Message& message : fragment) {
      const auto sample = std::span(message.data).subspan(message.type == 9 ? 5 : 2);
      int size = 0;
      int rest = 0;
      RAND_bytes(vector, sizeof vector);
      EVP_EncryptInit_ex2(context.get(), nullptr, nullptr, vector, nullptr);
      EVP_EncryptUpdate(context.get(), cipherText.data(), &size, reinterpret_cast<const unsigned char*>(sample.data()),
                        static_cast<int>(sample.size()));
      EVP_EncryptFinal_ex(context.get(), cipherText.data() + size, &rest);
      benchmark::DoNotOptimize(cipherText.data());
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bench::bytesOf(fragment)));
}

BENCHMARK(encryptAlone)->Arg(8)->Arg(2)->Arg(40)->ArgName("Mbit/s")->Unit(benchmark::kMicrosecond);
BENCHMARK(recordProtected)->Arg(8)->Arg(2)->Arg(40)->ArgName("Mbit/s")->Unit(benchmark::kMicrosecond);

}  // namespace
