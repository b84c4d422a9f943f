// A module for tests of the whole command: a FakeAdaptor that leaves what it was told in the file that the environment
// variable K2R_FAKE_REPORT names, a line a call, a message as "record <type> <time> <bytes>".

#include <cstdlib>
#include <fstream>
#include <memory>

#include "tests/host/FakeAdaptor.h"

namespace {

class ReportingAdaptor : public test::FakeAdaptor {
 public:
  using FakeAdaptor::FakeAdaptor;

  StreamLoadStatus open(IMOStreamOpenContext* settings, const char* path, std::uint32_t flags, void* userData,
                        void*& handle) override {
    const StreamLoadStatus status = FakeAdaptor::open(settings, path, flags, userData, handle);
    report_ << calls.back() << std::endl;
    return status;
  }
  bool record(void* handle, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) override {
    report_ << "record " << unsigned{type} << ' ' << time << ' ' << size << std::endl;
    return FakeAdaptor::record(handle, type, data, size, time);
  }
  bool stopRecord(void* handle) override {
    report_ << "stop" << std::endl;
    return FakeAdaptor::stopRecord(handle);
  }
  void close(void* handle) override {
    report_ << "close" << std::endl;
    FakeAdaptor::close(handle);
  }

 private:
  std::ofstream report_{std::getenv("K2R_FAKE_REPORT")};
};

}  // namespace

extern "C" bool IMOCreateAdaptor(IMOStreamContext* context, IMOStreamAdaptor** adaptor) {
  *adaptor = std::make_unique<ReportingAdaptor>(context).release();
  return true;
}
