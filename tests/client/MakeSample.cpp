// vesk_sample: makes in a folder what a client's session works on.
//
//   vesk_sample FOLDER

#include <cstdio>
#include <exception>

#include "tests/client/SampleVault.h"

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: vesk_sample FOLDER\n");
    return 2;
  }
  try {
    vesk::test::makeSample(arguments[1]);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vesk_sample: %s\n", failure.what());
    return 1;
  }
}
