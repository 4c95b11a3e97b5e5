#include <iostream>
#include <kor/kor.hpp>

int main() {
  kor::VariantArray table;
  kor::VariantArray y;
  std::int16_t ipok = 0;
  std::cout << kor::Interpret().Interp("2+3*4", ipok, table, y).to_double() << '\n';
}
