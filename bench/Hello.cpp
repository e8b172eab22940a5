// What a program costs that does nothing: the start of vesk-mcp is measured beside it.

#include <iostream>

int main() {
  std::cout << "Hello, world!\n";
  return 0;
}
