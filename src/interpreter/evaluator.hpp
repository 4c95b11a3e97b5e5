// The expression evaluator behind Interpret::Interp.
//
// One left-to-right scan per nesting level with a small operand list and
// operator list; precedence comes from deferring operators (ReducePending),
// not from a grammar, and parentheses and function arguments are evaluated by
// recursive calls on the rest of the text.  Clients depend on its exact
// behaviour, odd corners included, so the scan is written to follow that
// behaviour step by step: positions are 16-bit, the lists have fixed sizes
// (operands 1..10, operators 1..6) and overflowing them is error 9, failures
// return the error value -9999 with a negative status.
//
// The template parameters are the views of the variable table and of the
// indexed variables, so the same scan serves kor::VariantArray in C++ and the
// caller's SAFEARRAYs in the COM server.  A view provides:
//   table.ubound(1), table(i, j) -> cell;  vector(k) -> cell
// and the cell type provides, found by argument-dependent lookup:
//   bool cell_is_name(const Cell&, std::string_view upper_name)
//   double cell_number(const Cell&)
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <string>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "component/arith.hpp"
#include "interpreter/text.hpp"
#include "kor/error.hpp"
#include "kor/message.hpp"
#include "kor/variant.hpp"

namespace kor::interpreter {

inline constexpr double kErrorValue = -9999.0;
// The constant pi of the function table: fifteen significant digits, not the
// rounded double of pi.
inline constexpr double kPi = 3.14159265358979;
// Nesting deeper than this raises error 28 instead of exhausting the stack.
inline constexpr int kMaxDepth = 1000;

inline bool is_error_value(double v) { return std::abs(v + 9999.0) < 1e-5; }

// Positions and counts are 16-bit: a value outside that range is overflow.
inline std::int16_t pos16(int v) {
  if (v < INT16_MIN || v > INT16_MAX) [[unlikely]] throw Error(err::kOverflow);
  return static_cast<std::int16_t>(v);
}

inline constexpr const char* kSpaceMessage = "Mezery ve výrazu jsou nepřípustné!";
inline constexpr const char* kNotFilledMessage = "Nenaplněno pole proměnná - hodnota!";
inline constexpr const char* kTitle = "Interpret";

// The pending operands and operators of one nesting level.
struct Level {
  double opd[11] = {};   // slots 1..10; slot 0 never holds an operand
  std::int32_t reg[11] = {};  // while recording: the program register of each slot
  char ops[7] = {};      // slots 1..6 hold ")", "^", "/", "*", "-", "+"
  int power = 0;         // operator slot 0: the count of pending "^"
  int n = 0;             // operand count
  int m = 0;             // operator count

  // Slots above the operator count hold no operator, whatever they kept.
  char op_at(int i) const { return i >= 1 && i <= m ? ops[i] : '\0'; }

  double& operand_slot(int i) {
    if (i > 10) [[unlikely]] throw Error(err::kSubscript);
    return opd[i];
  }
  char& operator_slot(int i) {
    if (i > 6) [[unlikely]] throw Error(err::kSubscript);
    return ops[i];
  }
  void push_operand(double v) {
    n = pos16(n + 1);
    operand_slot(n) = v;
  }
  void push_operator(char c) {
    m = pos16(m + 1);
    operator_slot(m) = c;
    if (c == '^') ++power;
  }
};

// The plain scan records nothing.  A recording scan (see program.hpp) is given
// a recorder with the same members, which turns each step that produces or
// checks a value into a step of a compiled program.
struct NoRecorder {
  static constexpr bool active = false;
  std::int32_t constant(double) { return 0; }
  std::int32_t binary(char, std::int32_t, std::int32_t) { return 0; }
  std::int32_t negate(std::int32_t) { return 0; }
  std::int32_t load_row(std::int32_t) { return 0; }
  std::int32_t load_index(std::int32_t) { return 0; }
  void guard(std::int32_t, std::int16_t) {}
  std::int32_t function(std::string_view, std::int32_t, bool, std::int16_t) { return 0; }
  void counter_message(const std::string&) {}
};

// ApplyOperator: operand i := operand i op operand i+1, then close the gap.
// The closing reads one slot beyond the larger count, which is error 9 when
// a list is full.
template <class Rec>
inline void ApplyOperator(Level& L, int i, Rec& rec) {
  const double a = L.opd[i], b = L.opd[i + 1];
  double r = 0;
  switch (L.ops[i]) {
    case '+': r = arith::add(a, b); break;
    case '-': r = arith::sub(a, b); break;
    case '*': r = arith::mul(a, b); break;
    case '/': r = arith::div(a, b); break;
    case '^': r = arith::pow(a, b); break;
    default: break;
  }
  L.opd[i] = r;
  if constexpr (Rec::active) L.reg[i] = rec.binary(L.ops[i], L.reg[i], L.reg[i + 1]);
  const int top = std::max(L.n, L.m);
  for (int k = i + 1; k <= top; ++k) {
    L.opd[k] = L.operand_slot(k + 1);
    if constexpr (Rec::active) L.reg[k] = L.reg[k + 1];
    L.ops[k - 1] = L.operator_slot(k);
  }
  L.n -= 1;
  L.m -= 1;
}

// ReducePending: applies what precedence allows.  "^" always; "*" and "/"
// unless a "^" is pending; "+" and "-" unless a "^" is pending, and then only
// in the final reduction or when the next operator is ")", "-" or "+".
template <class Rec>
inline void ReducePending(Level& L, bool final, Rec& rec) {
  if (L.n == 1) return;
  bool applied;
  do {
    applied = false;
    for (int i = 1; i <= L.n - 1; ++i) {
      const char op = L.op_at(i);
      bool apply = false;
      switch (op) {
        case '^': apply = true; break;
        case '*':
        case '/': apply = L.power <= 0; break;
        case '+':
        case '-':
          if (L.power > 0) break;
          if (final) {
            apply = true;
          } else {
            const char next = L.op_at(i + 1);
            apply = next == ')' || next == '-' || next == '+';
          }
          break;
        default: break;
      }
      if (apply) {
        ApplyOperator(L, i, rec);
        if (op == '^') --L.power;
        applied = true;
      }
    }
  } while (applied);
  if (L.m < 0 || L.n < 0) {
    const std::string text = "Interpret: Chyba čítače! " + convert::str(L.m) + "   " + convert::str(L.n);
    ShowMessage(text, style::kCritical, kTitle);
    rec.counter_message(text);
  }
}

// The function table.  LOG and LOG10 are one function.
enum class Fn : std::uint8_t {
  Exp, Sqr, Ln, Log, Sin, Cos, Tan, Atn, Asn, Acs, Sinh, Cosh, Tanh, Cotgh, Sgn, Fix, Int, Rad, Deg, Eq, Unknown
};

// The function of a name, compared upper-cased in the order of the table.
inline Fn function_id(std::string_view name) {
  static constexpr std::pair<std::string_view, Fn> table[] = {
      {"EXP", Fn::Exp},   {"SQR", Fn::Sqr},   {"LN", Fn::Ln},       {"LOG", Fn::Log},   {"LOG10", Fn::Log},
      {"SIN", Fn::Sin},   {"COS", Fn::Cos},   {"TAN", Fn::Tan},     {"ATN", Fn::Atn},   {"ASN", Fn::Asn},
      {"ACS", Fn::Acs},   {"SINH", Fn::Sinh}, {"COSH", Fn::Cosh},   {"TANH", Fn::Tanh}, {"COTGH", Fn::Cotgh},
      {"SGN", Fn::Sgn},   {"FIX", Fn::Fix},   {"INT", Fn::Int},     {"RAD", Fn::Rad},   {"DEG", Fn::Deg},
      {"EQ", Fn::Eq},
  };
  const UpperName up(name);
  for (const auto& [n, f] : table)
    if (up.view() == n) return f;
  return Fn::Unknown;
}

// The functions whose value depends on the argument alone, in the order of
// Fn.  SQR (which may show a message) and unknown names have none.
using Unary = double (*)(double);
inline constexpr Unary kUnary[] = {
    /* Exp */ [](double x) { return arith::exp(x); },
    /* Sqr */ nullptr,
    /* Ln */ [](double x) { return x > 0 ? std::log(x) : kErrorValue; },
    /* Log */ [](double x) { return x > 0 ? std::log(x) / std::log(10.0) : kErrorValue; },
    /* Sin */ [](double x) { return std::sin(x); },
    /* Cos */ [](double x) { return std::cos(x); },
    /* Tan */ [](double x) { return std::tan(x); },
    /* Atn */ [](double x) { return std::atan(x); },
    /* Asn */
    [](double x) {
      if (std::abs(x) > 1) return kErrorValue;
      // Only the neighbourhood of +1 is special: x = -1 divides by zero.
      if (std::abs(x - 1) < 1e-6) return ((x > 0) - (x < 0)) * kPi / 2;
      return std::atan(arith::div(x, std::sqrt(1 - x * x)));
    },
    /* Acs */
    [](double x) {
      if (std::abs(x) > 1) return kErrorValue;
      if (std::abs(x) < 1e-6) return kPi / 2;
      // A negative x gives a negative angle, not the principal arc cosine.
      return std::atan(arith::div(std::sqrt(1 - x * x), x));
    },
    /* Sinh */ [](double x) { return arith::div(arith::sub(arith::exp(x), arith::exp(-x)), 2); },
    /* Cosh */ [](double x) { return arith::div(arith::add(arith::exp(x), arith::exp(-x)), 2); },
    /* Tanh */
    [](double x) {
      return arith::div(arith::sub(arith::exp(x), arith::exp(-x)), arith::add(arith::exp(-x), arith::exp(x)));
    },
    /* Cotgh */
    [](double x) {
      return arith::div(arith::add(arith::exp(x), arith::exp(-x)), arith::sub(arith::exp(x), arith::exp(-x)));
    },
    /* Sgn */ [](double x) -> double { return (x > 0) - (x < 0); },
    /* Fix */ [](double x) { return std::trunc(x); },
    /* Int */ [](double x) { return std::floor(x); },
    /* Rad */
    [](double x) {
      // Mod rounds to a whole number first: fractional degrees are lost.
      const std::int32_t whole = convert::to_int32(x);
      return (static_cast<double>(whole % 360) / 180) * kPi;
    },
    /* Deg */ [](double x) { return (x / kPi) * 180; },
    /* Eq */ [](double x) { return x; },
};
static_assert(std::size(kUnary) == static_cast<std::size_t>(Fn::Unknown));

inline Unary unary(Fn f) { return f == Fn::Unknown ? nullptr : kUnary[static_cast<std::size_t>(f)]; }

// SQR: zero is rejected too, clients rely on it.
inline double square_root(double x, std::int16_t ipok) {
  if (x > 0) return std::sqrt(x);
  if (ipok >= 0) ShowMessage("Odmocnina: záporný argument " + convert::str(x), style::kCritical, kTitle);
  return kErrorValue;
}

// The value of function f (named `name` in the text) at x, or the error value.
inline double apply_function(Fn f, std::string_view name, double x, std::int16_t ipok) {
  if (const Unary u = unary(f)) return u(x);
  if (f == Fn::Sqr) return square_root(x, ipok);
  if (ipok >= 0) ShowMessage("Neznámá fce: " + std::string(name), style::kCritical, "Interp");
  return kErrorValue;
}

// EvaluateFunction: the 21 functions, by upper-cased name.
inline double EvaluateFunction(std::string_view name, double x, std::int16_t ipok) {
  return apply_function(function_id(name), name, x, ipok);
}

template <class Table, class Vector, class Rec = NoRecorder>
class Evaluator {
 public:
  Evaluator(const Table& pr, const Vector& y) : pr_(pr), y_(y) {}
  Evaluator(const Table& pr, const Vector& y, Rec& rec) : pr_(pr), y_(y), rec_(rec) {}

  // Interp: the value of the text, or -9999 with a negative ipok.
  double Interp(std::string_view s, std::int16_t& ipok) { return scan(s, ipok, 0, true, nullptr); }

  // The register that holds the value of the last successful Interp (recording only).
  std::int32_t result_register() const { return result_reg_; }

 private:
  // One level of the scan.  `inherited` tells whether ipok is the caller's
  // message level handed down unchanged (rather than a position), which a
  // recorded program must know to show the same messages; `result` receives
  // the register of the level's value.
  double scan(std::string_view s, std::int16_t& ipok, int depth, bool inherited, std::int32_t* result) {
    if (depth >= kMaxDepth) throw Error(err::kOutOfStack);
    const std::int16_t entry = ipok;
    const int len = pos16(static_cast<int>(std::min<std::size_t>(s.size(), 1u << 20)));
    // Position p (from 1), or '\0' outside the text: one unsigned comparison
    // tells both ends.
    auto at = [&](int p) -> char {
      const unsigned offset = static_cast<unsigned>(p) - 1u;
      return offset < static_cast<unsigned>(len) ? s[offset] : '\0';
    };

    Level L;
    int tok = 1;      // token start
    int pos = 1;      // scan position
    int last_op = 0;  // position of the operator that ended the latest token
    char ch = '\0';   // current character
    double sign = 1.0;
    std::int16_t level = entry;
    bool level_inherited = inherited;

    auto apply_sign = [&] {
      if (sign < 0 && L.n == 1) {
        L.opd[1] = -L.opd[1];
        if constexpr (Rec::active) L.reg[1] = rec_.negate(L.reg[1]);
        sign = 1.0;
      }
    };
    auto fail = [&](std::int16_t status) {
      ipok = status;
      return kErrorValue;
    };

    for (;;) {
      pos = tok;
      while (pos <= len) {
        ch = at(pos);
        if (ch == ' ') {
          if (entry >= 0) ShowMessage(kSpaceMessage, style::kCritical, kTitle);
          return fail(-1);
        }
        if (ch == '-' && pos == tok && (pos == 1 || at(tok - 1) == '(')) {
          sign = -1.0;  // unary minus of the first operand
          tok = pos16(tok + 1);
        } else if ((ch == '+' || ch == '-') && pos > tok + 1 && is_digit(at(pos - 2)) &&
                   (at(pos - 1) == 'E' || at(pos - 1) == 'e')) {
          // the sign of an exponent belongs to the number
        } else if (is_operator(ch) && at(tok) != '(') {
          L.push_operator(ch);
          if (pos != tok) {
            last_op = pos;
            break;
          }
          tok = pos16(tok + 1);
          if (ch == ')') {
            last_op = pos;
            break;
          }
        }
        pos = pos16(pos + 1);
      }

      const char first = at(tok);
      if (is_name_start(first)) {
        const std::string_view token = mid(s, tok, pos - tok + 1);
        const std::size_t paren = token.find('(');
        if (paren == std::string_view::npos) {
          const std::string_view name = mid(s, tok, pos - tok);
          std::int32_t reg = 0;
          const double v = variable_value(name, entry, reg);
          if (is_error_value(v)) return fail(-2);
          L.push_operand(v);
          if constexpr (Rec::active) {
            rec_.guard(reg, -2);
            L.reg[L.n] = reg;
          }
          apply_sign();
          tok = pos16(pos + 1);
          if (L.m >= 1 && L.ops[L.m] == ')') L.m -= 1;
        } else {
          const int paren_pos = tok + static_cast<int>(paren);
          std::int32_t arg = 0;
          const double x = scan(s.substr(static_cast<std::size_t>(paren_pos)), level, depth + 1, level_inherited, &arg);
          if (level < 0) return fail(level);
          level_inherited = false;
          tok = pos16(std::abs(level) + paren_pos);
          const double v = EvaluateFunction(token.substr(0, paren), x, entry);
          if (is_error_value(v)) return fail(-3);
          L.push_operand(v);
          if constexpr (Rec::active) {
            const std::int32_t reg = rec_.function(token.substr(0, paren), arg, inherited, entry);
            rec_.guard(reg, -3);
            L.reg[L.n] = reg;
          }
          apply_sign();
          if (ch == ')') ch = ' ';
          // The operator that ended the function token goes with it.
          if (L.m >= 1 && L.ops[L.m] == '^') --L.power;
          L.m = pos16(L.m - 1);
        }
        ReducePending(L, false, rec_);
      } else if (is_digit(first) || first == '.' || first == '-') {
        L.push_operand(number_value(mid(s, tok, pos - tok + 1)));
        if constexpr (Rec::active) L.reg[L.n] = rec_.constant(L.opd[L.n]);
        apply_sign();
        tok = pos16(last_op + 1);
        ReducePending(L, false, rec_);
      } else if (first == '(') {
        // A leading unary minus is not applied to a parenthesis: -(2+3) is 5.
        L.n = pos16(L.n + 1);
        std::int32_t reg = 0;
        const double v = scan(s.substr(static_cast<std::size_t>(tok)), level, depth + 1, level_inherited, &reg);
        L.operand_slot(L.n) = v;
        if constexpr (Rec::active) L.reg[L.n] = reg;
        if (level < 0) return fail(level);
        level_inherited = false;
        tok = pos16(tok + std::abs(level));
        ReducePending(L, false, rec_);
        continue;
      }
      if (ch == ')' || pos >= len) {
        ReducePending(L, true, rec_);
        ipok = static_cast<std::int16_t>(tok);
        if constexpr (Rec::active) {
          if (result) *result = L.reg[1];
          if (depth == 0) result_reg_ = L.reg[1];
        }
        return L.opd[1];
      }
    }
  }

  // The value of a variable, or the error value.  Conversion of the value to a
  // number happens outside LookupVariable's fault handler, so a cell that holds
  // no number is a type mismatch for the caller.
  double variable_value(std::string_view name, std::int16_t ipok, std::int32_t& reg) {
    std::int32_t row = 0, index = 0;
    const Found cell = LookupVariable(name, ipok, row, index);
    if (!cell.table && !cell.vector) return kErrorValue;
    if constexpr (Rec::active) reg = row > 0 ? rec_.load_row(row) : rec_.load_index(index);
    return cell.table ? cell_number(*cell.table) : cell_number(*cell.vector);
  }

  // The cell a name found: in the table or in the vector (their cell types
  // may differ, as when the table is the library's and the vector a client's).
  struct Found {
    const std::remove_cvref_t<decltype(std::declval<const Table&>()(0, 0))>* table = nullptr;
    const std::remove_cvref_t<decltype(std::declval<const Vector&>()(0))>* vector = nullptr;
  };

  // LookupVariable: a name with "[" addresses the indexed variables, any other
  // name the table (by its upper-cased form).  Faults while reading the table
  // or the vector are caught here: a subscript fault shows the "not filled"
  // message, others fail silently.  Returns nullptr for the error value.
  // `row` (a table row) or `index` (a vector position) tells where it was found.
  Found LookupVariable(std::string_view name, std::int16_t ipok, std::int32_t& row, std::int32_t& index) {
    try {
      const std::size_t bracket = name.find('[');
      if (bracket != std::string_view::npos) {
        const std::int16_t k = convert::to_int16(leading_number(name.substr(bracket + 1)));
        index = k;
        return {nullptr, &y_(k)};
      }
      const UpperName up(name);
      const std::int32_t rows = pr_.ubound(1);
      if (rows < 1) throw Error(err::kSubscript);
      for (std::int32_t i = 1; i <= rows; ++i)
        if (cell_is_name(pr_(i, 1), up.view())) {
          row = i;
          return {&pr_(i, 2), nullptr};
        }
      if (ipok >= 0)
        ShowMessage("Proměnná " + std::string(name) + " nenalezena!", style::kCritical, kTitle);
      return {};
    } catch (const Error& e) {
      if (e.number() == err::kSubscript && ipok >= -1)
        ShowMessage(kNotFilledMessage, style::kCritical, kTitle);
      return {};
    }
  }

  const Table& pr_;
  const Vector& y_;
  NoRecorder no_recorder_;
  Rec& rec_ = recorder_default();
  std::int32_t result_reg_ = 0;

  Rec& recorder_default() {
    if constexpr (std::is_same_v<Rec, NoRecorder>) return no_recorder_;
    else throw std::logic_error("a recording evaluator needs its recorder");
  }
};

}  // namespace kor::interpreter
