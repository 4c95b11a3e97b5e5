// The test client of kor.dll: a single-threaded apartment, like the clients
// the component is made for.
#include <gtest/gtest.h>
#include <objbase.h>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  int result = RUN_ALL_TESTS();
  CoUninitialize();
  return result;
}
