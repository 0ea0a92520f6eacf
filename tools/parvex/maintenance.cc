// --check, .check and --recover, through the library's check and recovery.
#include "maintenance.h"

#include <memory>

namespace parvex::shell {

namespace {

using ReportPtr = std::unique_ptr<parvex_report, decltype(&parvex_report_free)>;

// Prints the report's lines and summary, or the reason it could not run on
// `err` (after what recovery did before it stopped).
int Report(int result, parvex_report* raw, bool isRecovery, std::ostream& out, std::ostream& err) {
  const ReportPtr report(raw, parvex_report_free);
  if (!report) {
    err << "Error: Out of memory.\n";
    return kExitCannotRun;
  }
  if (result == PARVEX_OK || isRecovery) {
    for (size_t i = 0; i < parvex_report_line_count(report.get()); ++i) out << parvex_report_line(report.get(), i) << '\n';
  }
  if (result != PARVEX_OK) {
    err << '[' << parvex_report_sqlstate(report.get()) << "] " << parvex_report_errmsg(report.get()) << '\n';
    return kExitCannotRun;
  }
  out << parvex_report_summary(report.get()) << '\n';
  return parvex_report_clean(report.get()) ? kExitClean : kExitDamaged;
}

}  // namespace

int RunCheck(const std::string& path, std::ostream& out, std::ostream& err) {
  parvex_report* report = nullptr;
  const int result = parvex_check_file(path.c_str(), &report);
  return Report(result, report, false, out, err);
}

int RunCheck(parvex_db* db, std::ostream& out, std::ostream& err) {
  parvex_report* report = nullptr;
  const int result = parvex_check_db(db, &report);
  return Report(result, report, false, out, err);
}

int RunRecover(const std::string& from, const std::string& to, std::ostream& out, std::ostream& err) {
  parvex_report* report = nullptr;
  const int result = parvex_recover_file(from.c_str(), to.c_str(), &report);
  return Report(result, report, true, out, err);
}

}  // namespace parvex::shell
