// Interpret's methods over the caller's lists, object arrays and kor.Ref
// cells: Interp and the interpreted solvers read and write them in place.
#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"
#include "interpreter/interpreted.hpp"
#include "kor/interpret.hpp"
#include "module.hpp"
#include "views.hpp"

namespace kor::python {

void define_interpret(py::module_& m) {
  using H = py::handle;
  const py::object missing = py::reinterpret_borrow<py::object>(missing_object());
  const auto opt = [&](const char* name) { return py::arg(name) = missing; };
  py::class_<Interpret> c(m, "Interpret", "The expression evaluator and the interpreted solvers.");
  c.def(py::init<>());

  c.def("Interp",
        [](const Interpret&, H s, H ipok, H Pr, H Y) {
          const std::string t = text(s);
          ShortRef level(ipok);
          ObjectView table(Pr), y(Y);
          interpreter::Evaluator<ObjectView, ObjectView> evaluator(table, y);
          return evaluator.Interp(t, level.get());
        },
        "s"_a, "ipok"_a, "Pr"_a, "Y"_a);

  c.def("NewtonI",
        [](Interpret&, H Rov, H n, H Nunknown, H, H X, H ipom, H z, H ID, H Eps, H ALAM, H NITER, H Delta) {
          const StringArray rov = strings(Rov);
          ObjectView x(X), ip(ipom), zz(z);
          VariantRef id(ID);
          return to_python(interpreter::newton_i(rov, value(n), value(Nunknown), x, ip, zz, id.get(), value(Eps),
                                                 value(ALAM), value(NITER), value(Delta)));
        },
        "Rov"_a, "n"_a, "Nunknown"_a, "NProm"_a, "X"_a, "ipom"_a, "z"_a, "ID"_a, opt("Eps"), opt("ALAM"),
        opt("NITER"), opt("Delta"));

  const auto minimiser = [&](const char* name, auto nelder_mead) {
    c.def(name,
          [](Interpret&, H Rov, H n, H X, H z, H EPSA, H itmax) {
            const std::string rov = text(Rov);
            ObjectView x(X), zz(z);
            VariantRef it(itmax);
            return to_python(interpreter::fmin_i<decltype(nelder_mead)::value>(rov, value(n), x, zz, value(EPSA),
                                                                               it.get()));
          },
          "Rov"_a, "n"_a, "X"_a, "z"_a, opt("EPSA"), opt("itmax"));
  };
  minimiser("FminI", std::false_type{});
  minimiser("Fmin1I", std::true_type{});

  c.def("RkmI",
        [](Interpret&, H Rov, H nn, H xb, H xe, H Y, H Delta, H Star, H zz) {
          const StringArray rov = strings(Rov);
          VariantRef b(xb), e(xe), star(Star);
          ObjectView y(Y), z(zz);
          interpreter::rkm_i(rov, value(nn), b.get(), e.get(), y, value(Delta), star.get(), z);
        },
        "Rov"_a, "nn"_a, "xb"_a, "xe"_a, "Y"_a, "Delta"_a, "Star"_a, "zz"_a);
}

}  // namespace kor::python
