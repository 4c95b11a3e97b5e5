// Compiled expression texts.
//
// A solver evaluates the same texts thousands of times against one variable
// table.  A CompiledText records, while it evaluates its text by the scan, the
// steps that produce or check values (constants, table and vector reads,
// operations, functions, the counter message, the error-value checks) as a
// straight-line program over registers, and replays that program on later
// evaluations.  The scan's decisions depend only on the text, the table's
// names and the vector's bounds, never on the values, except where a value
// ends the evaluation (the error value of a variable or a function), and
// there the program checks the same condition at the same step.  A replay
// therefore gives the same value, status, messages in the same order and the
// same runtime errors at the same moment as the scan.
//
// Only a recording whose evaluation succeeded becomes a program (a failing
// one did not see the rest of the text); texts that keep failing, or whose
// scan raises, are simply scanned.  A program is tied to the table it was
// recorded with and checks the vector positions it reads before each replay.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"
#include "kor/safe_array.hpp"

namespace kor::interpreter {

// A cell whose position has been checked (fits() before the replay).
template <class T>
const T& present_cell(const SafeArray<T>& a, std::int32_t i) {
  return const_cast<SafeArray<T>&>(a).at_unchecked(i);
}
template <class T>
const T& present_cell(const SafeArray<T>& a, std::int32_t i, std::int32_t j) {
  return const_cast<SafeArray<T>&>(a).at_unchecked(i, j);
}
template <class A>
decltype(auto) present_cell(const A& a, std::int32_t i) {
  return a(i);
}
template <class A>
decltype(auto) present_cell(const A& a, std::int32_t i, std::int32_t j) {
  return a(i, j);
}

struct Step {
  enum Kind : std::uint8_t {
    Constant, LoadRow, LoadIndex, Guard, Negate, Binary, Function, CounterMessage,
    // Steps of the replay, one kind per operation (one dispatch per step):
    // the operators, a power of two written out, a function of the argument
    // alone (through `fn`) and SQR.
    Add, Subtract, Multiply, Divide, Power, Square, Call, Root
  };
  Kind kind;
  char op = 0;              // Binary: the operator
  bool inherited = false;   // Function: its level's message level is the caller's
  std::int16_t level = 0;   // Function: the message level when not inherited; Guard: the status
  std::int32_t dst = 0, a = 0, b = 0;
  std::int32_t index = 0;   // LoadRow: table row; LoadIndex: vector position; Function, CounterMessage: text
  double value = 0;         // Constant
  std::int16_t guard = 0;   // LoadRow, LoadIndex, Function: the status when the value is the error value
  Unary fn = nullptr;       // Call: the function
};

class Program {
 public:
  // Recorder members (see NoRecorder in evaluator.hpp).
  static constexpr bool active = true;
  std::int32_t constant(double v) { return emit({Step::Constant, 0, false, 0, next(), 0, 0, 0, v}); }
  std::int32_t binary(char op, std::int32_t a, std::int32_t b) { return emit({Step::Binary, op, false, 0, next(), a, b}); }
  std::int32_t negate(std::int32_t a) { return emit({Step::Negate, 0, false, 0, next(), a}); }
  std::int32_t load_row(std::int32_t row) {
    rows_.push_back(row);
    return emit({Step::LoadRow, 0, false, 0, next(), 0, 0, row});
  }
  std::int32_t load_index(std::int32_t k) {
    indices_.push_back(k);
    return emit({Step::LoadIndex, 0, false, 0, next(), 0, 0, k});
  }
  void guard(std::int32_t reg, std::int16_t status) { steps_.push_back({Step::Guard, 0, false, status, 0, reg}); }
  std::int32_t function(std::string_view name, std::int32_t arg, bool inherited, std::int16_t level) {
    texts_.emplace_back(name);
    return emit({Step::Function, static_cast<char>(function_id(name)), inherited, level, next(), arg, 0,
                 static_cast<std::int32_t>(texts_.size() - 1)});
  }
  void counter_message(const std::string& text) {
    texts_.push_back(text);
    steps_.push_back({Step::CounterMessage, 0, false, 0, 0, 0, 0, static_cast<std::int32_t>(texts_.size() - 1)});
  }

  void finish(std::int32_t result, std::int16_t position) {
    result_ = result;
    position_ = position;
    // Each position is checked once before a replay, however often it is read.
    for (auto* positions : {&rows_, &indices_}) {
      std::sort(positions->begin(), positions->end());
      positions->erase(std::unique(positions->begin(), positions->end()), positions->end());
    }
    // Constants are written once, here; the replay keeps only the steps that
    // read, compute or check.
    // Operations on constants alone are done once too: they gave these very
    // values without a fault while the text was recorded, and a guard on a
    // constant passed then and passes every time.
    registers_.assign(static_cast<std::size_t>(registers_count_), 0.0);
    std::vector<bool> fixed(static_cast<std::size_t>(registers_count_), false);
    fixed[0] = true;
    auto is_fixed = [&](std::int32_t reg) { return static_cast<bool>(fixed[static_cast<std::size_t>(reg)]); };
    auto set = [&](std::int32_t reg, double v) {
      registers_[static_cast<std::size_t>(reg)] = v;
      fixed[static_cast<std::size_t>(reg)] = true;
    };
    std::vector<Step> kept;
    for (const Step& s : steps_) {
      if (s.kind == Step::Constant) {
        set(s.dst, s.value);
      } else if (s.kind == Step::Negate && is_fixed(s.a)) {
        set(s.dst, -registers_[static_cast<std::size_t>(s.a)]);
      } else if (s.kind == Step::Binary && is_fixed(s.a) && is_fixed(s.b)) {
        set(s.dst, apply(s.op, registers_[static_cast<std::size_t>(s.a)], registers_[static_cast<std::size_t>(s.b)]));
      } else if (s.kind == Step::Guard && is_fixed(s.a)) {
        // passes: the recording went past it
      } else {
        kept.push_back(s);
      }
    }
    // A guard right after the step that produced its value is done by that
    // step: one dispatch less per variable and function.
    steps_.clear();
    for (Step& s : kept) {
      if (s.kind == Step::Binary) s.kind = binary_kind(s.op);
      // x^2 is the checked product x*x whatever x is (arith::pow).
      if (s.kind == Step::Power && is_fixed(s.b) && registers_[static_cast<std::size_t>(s.b)] == 2.0)
        s.kind = Step::Square;
      if (s.kind == Step::Function) {
        const Fn f = static_cast<Fn>(s.op);
        if ((s.fn = unary(f))) s.kind = Step::Call;
        if (f == Fn::Sqr) s.kind = Step::Root;
      }
      if (s.kind == Step::Guard && !steps_.empty() && steps_.back().dst == s.a && steps_.back().guard == 0 &&
          (steps_.back().kind == Step::LoadRow || steps_.back().kind == Step::LoadIndex ||
           steps_.back().kind == Step::Function || steps_.back().kind == Step::Call ||
           steps_.back().kind == Step::Root)) {
        steps_.back().guard = s.level;
        continue;
      }
      steps_.push_back(s);
    }
    split_reads();
  }

  // Reads ahead of the computation are the same reads as in order unless a
  // step between may run client code and go on: a message that does not end
  // the evaluation (the counter's, or SQR's and an unknown name's without
  // their guard).  A step that raises ends it, so an early read is not seen.
  void split_reads() {
    read_ahead_ = std::none_of(steps_.begin(), steps_.end(), [](const Step& s) {
      return s.kind == Step::CounterMessage ||
             ((s.kind == Step::Root || s.kind == Step::Function) && s.guard == 0);
    });
    for (const Step& s : steps_) {
      if (s.kind == Step::LoadRow) row_reads_.push_back(s);
      else if (s.kind == Step::LoadIndex) index_reads_.push_back(s);
      else computing_.push_back(s);
    }
  }

  // Whether every position the program reads exists.
  template <class Table, class Vector>
  bool fits(const Table& pr, const Vector& y) const {
    for (std::int32_t r : rows_)
      if (!pr.contains(r, 2)) return false;
    for (std::int32_t k : indices_)
      if (!y.contains(k)) return false;
    return true;
  }

  std::size_t size() const { return steps_.size(); }
  bool running() const { return running_; }

  // The replay, marked as running while it runs, when every position the
  // program reads exists: ipok is the message level in, the status or
  // position out.  False, having done nothing, when a position is missing.
  template <class Table, class Vector>
  bool replay(std::int16_t& ipok, const Table& pr, const Vector& y, double& value) {
    if (steps_.empty()) {  // a text of constants alone: its value is known
      ipok = position_;
      value = registers_[static_cast<std::size_t>(result_)];
      return true;
    }
    const std::vector<Step>* steps = &steps_;
    if (read_ahead_) {
      const Read read = read_variables(pr, y);
      if (read == Read::Missing) return false;
      if (read == Read::Done) steps = &computing_;
    } else if (!fits(pr, y)) {
      return false;
    }
    struct Mark {
      bool& flag;
      explicit Mark(bool& f) : flag(f) { flag = true; }
      ~Mark() { flag = false; }
    } mark(running_);
    value = execute(*steps, ipok, pr, y);
    return true;
  }

 private:
  static double fail(std::int16_t& ipok, std::int16_t status) {
    ipok = status;
    return kErrorValue;
  }
  // The steps in order: every read, computation and check where the scan
  // does it.
  template <class Table, class Vector>
  double execute(const std::vector<Step>& steps, std::int16_t& ipok, const Table& pr, const Vector& y) {
    double* r = registers_.data();
    const std::int16_t entry = ipok;
    auto guarded = [&](const Step& s, double v) {
      r[s.dst] = v;
      return s.guard && is_error_value(v);
    };
    for (const Step& s : steps) {
      switch (s.kind) {
        case Step::Constant: r[s.dst] = s.value; break;
        case Step::LoadRow:
          if (guarded(s, cell_number(present_cell(pr, s.index, 2)))) return fail(ipok, s.guard);
          break;
        case Step::LoadIndex:
          if (guarded(s, cell_number(present_cell(y, s.index)))) return fail(ipok, s.guard);
          break;
        case Step::Guard:
          if (is_error_value(r[s.a])) return fail(ipok, s.level);
          break;
        case Step::Negate: r[s.dst] = -r[s.a]; break;
        case Step::Binary: r[s.dst] = apply(s.op, r[s.a], r[s.b]); break;
        case Step::Add: r[s.dst] = arith::add(r[s.a], r[s.b]); break;
        case Step::Subtract: r[s.dst] = arith::sub(r[s.a], r[s.b]); break;
        case Step::Multiply: r[s.dst] = arith::mul(r[s.a], r[s.b]); break;
        case Step::Divide: r[s.dst] = arith::div(r[s.a], r[s.b]); break;
        case Step::Power: r[s.dst] = arith::pow(r[s.a], r[s.b]); break;
        case Step::Square: r[s.dst] = arith::mul(r[s.a], r[s.a]); break;
        case Step::Call:
          if (guarded(s, s.fn(r[s.a]))) return fail(ipok, s.guard);
          break;
        case Step::Root:
          if (guarded(s, square_root(r[s.a], s.inherited ? entry : s.level))) return fail(ipok, s.guard);
          break;
        case Step::Function:
          if (guarded(s, apply_function(static_cast<Fn>(s.op), texts_[static_cast<std::size_t>(s.index)], r[s.a],
                                        s.inherited ? entry : s.level)))
            return fail(ipok, s.guard);
          break;
        case Step::CounterMessage:
          ShowMessage(texts_[static_cast<std::size_t>(s.index)], style::kCritical, kTitle);
          break;
      }
    }
    ipok = position_;
    return r[result_];
  }

  // The variables' values into their registers, before the other steps.
  // InOrder, having changed nothing that matters, when a cell needs a
  // conversion (which may fail, or run client code) or holds the error value
  // where the scan would stop: the steps then run in order.
  enum class Read { Done, InOrder, Missing };
  template <class Table, class Vector>
  Read read_variables(const Table& pr, const Vector& y) {
    double* r = registers_.data();
    for (const Step& s : row_reads_) {
      if (!pr.contains(s.index, 2)) return Read::Missing;
      if (!read_plain(present_cell(pr, s.index, 2), s, r)) return fits(pr, y) ? Read::InOrder : Read::Missing;
    }
    for (const Step& s : index_reads_) {
      if (!y.contains(s.index)) return Read::Missing;
      if (!read_plain(present_cell(y, s.index), s, r)) return fits(pr, y) ? Read::InOrder : Read::Missing;
    }
    return Read::Done;
  }
  template <class Cell>
  static bool read_plain(const Cell& cell, const Step& s, double* r) {
    double v;
    if (!cell_plain_number(cell, v) || (s.guard && is_error_value(v))) return false;
    r[s.dst] = v;
    return true;
  }

  std::int32_t next() { return registers_count_++; }
  std::int32_t emit(const Step& s) {
    steps_.push_back(s);
    return s.dst;
  }
  static Step::Kind binary_kind(char op) {
    switch (op) {
      case '+': return Step::Add;
      case '-': return Step::Subtract;
      case '*': return Step::Multiply;
      case '/': return Step::Divide;
      case '^': return Step::Power;
      default: return Step::Binary;
    }
  }
  static double apply(char op, double a, double b) {
    switch (op) {
      case '+': return arith::add(a, b);
      case '-': return arith::sub(a, b);
      case '*': return arith::mul(a, b);
      case '/': return arith::div(a, b);
      case '^': return arith::pow(a, b);
      default: return 0;
    }
  }

  std::vector<Step> steps_;
  // steps_ apart: the reads of table rows and vector positions, and the rest.
  std::vector<Step> row_reads_, index_reads_, computing_;
  bool read_ahead_ = false;
  std::vector<std::string> texts_;
  std::vector<std::int32_t> rows_, indices_;
  std::vector<double> registers_;
  // Register 0 is the zero that every empty operand slot holds.
  std::int32_t registers_count_ = 1;
  std::int32_t result_ = 0;
  std::int16_t position_ = 0;
  bool running_ = false;
};

// Programs recorded against the interpreted solvers' constants tables, kept
// for the thread across calls.  Every such table has the names Z1..Z10 in
// rows 1..10, and a program depends on the table's names only, so one program
// serves every call that evaluates its text.  Bounded: a client that makes
// texts without end starts the cache afresh.
inline std::shared_ptr<Program>& constants_program(const std::string& text) {
  thread_local std::unordered_map<std::string, std::shared_ptr<Program>> programs;
  if (programs.size() >= 256 && !programs.contains(text)) programs.clear();
  return programs[text];
}

// One expression text, compiled on first success and replayed afterwards.
// `Layout::Constants` marks a text that is only ever evaluated against a
// constants table: its program is shared between calls.
template <class Table, class Vector>
class CompiledText {
 public:
  enum class Layout { Own, Constants };
  explicit CompiledText(std::string text, Layout layout = Layout::Own)
      : text_(std::move(text)), shared_(layout == Layout::Constants) {
    if (shared_) program_ = constants_program(text_);
  }

  // Exactly Interp(text, ipok, pr, y).
  double evaluate(std::int16_t& ipok, const Table& pr, const Vector& y) {
    // A program is replayed by one evaluation at a time: a message shown
    // during a replay could lead the host into another evaluation of the text.
    double value;
    if (program_ && !program_->running() && (shared_ || table_ == &pr) && program_->replay(ipok, pr, y, value))
      return value;
    if (attempts_ >= kMaxAttempts) return Evaluator<Table, Vector>(pr, y).Interp(text_, ipok);
    ++attempts_;
    Program recording;
    Evaluator<Table, Vector, Program> recorder(pr, y, recording);
    const double v = recorder.Interp(text_, ipok);  // a runtime error passes through as from the scan
    if (ipok >= 0) {
      recording.finish(recorder.result_register(), ipok);
      program_ = std::make_shared<Program>(std::move(recording));
      table_ = &pr;
      if (shared_) constants_program(text_) = program_;
    }
    return v;
  }

  bool compiled() const { return program_ != nullptr; }
  const std::string& text() const { return text_; }

 private:
  static constexpr int kMaxAttempts = 4;
  std::string text_;
  bool shared_;
  std::shared_ptr<Program> program_;
  const Table* table_ = nullptr;
  int attempts_ = 0;
};

}  // namespace kor::interpreter
