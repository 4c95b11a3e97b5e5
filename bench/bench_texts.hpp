// The expression texts the evaluator benchmarks share, each with the
// equivalent muparser text (muparser has no X[k] syntax: X1, X2 stand for X[1], X[2]).
#pragma once

namespace kor::bench {

struct BenchText {
  const char* name;
  const char* kor;
  const char* muparser;
};

// Z1 = 0.5, Z2 = -1.25, X[1] = 1.5, X[2] = 2.0 in every benchmark.
inline constexpr BenchText kTexts[] = {
    {"arith", "2+3*4", "2+3*4"},
    {"squares", "(X[1]-Z1)^2+(X[2]-Z2)^2", "(X1-Z1)^2+(X2-Z2)^2"},
    {"functions", "SQR(1+(X[1]-Z1)^2)*EXP((X[2]-Z2)/4)+LN(2+SIN(X[1])*COS(Z2))",
     "sqrt(1+(X1-Z1)^2)*exp((X2-Z2)/4)+ln(2+sin(X1)*cos(Z2))"},
};

}  // namespace kor::bench
