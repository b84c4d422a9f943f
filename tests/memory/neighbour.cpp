// A library of the host's that knows nothing of the module.

#include <new>
#include <string>

extern "C" __attribute__((visibility("default"))) void* neighbourTakes(std::size_t size) {
  return ::operator new(size);
}

extern "C" __attribute__((visibility("default"))) void neighbourGivesBack(void* block) {
  ::operator delete(block);
}

extern "C" __attribute__((visibility("default"))) std::size_t neighbourUsesTheLibrary() {
  return std::to_string(1234567890123456789).append(100, 'x').size();
}
