// --check, .check and --recover.
#include "maintenance.h"

#include "core/check_report.h"
#include "db/integrity_check.h"
#include "db/recover.h"

namespace parvex::shell {

namespace {

int Report(bool ran, const CheckReport& report, const ParvexStatus& status, const std::string& name,
           std::ostream& out, std::ostream& err) {
  if (!ran) {
    err << '[' << status.Code() << "] " << status.Description().view() << '\n';
    return kExitCannotRun;
  }
  for (const std::string& problem : report.problems) out << problem << '\n';
  if (report.problemCount > report.problems.size()) {
    out << "... and " << report.problemCount - report.problems.size() << " more problems\n";
  }
  for (const std::string& note : report.notes) out << "note: " << note << '\n';
  out << report.Summary(name) << '\n';
  return report.Clean() ? kExitClean : kExitDamaged;
}

}  // namespace

int RunCheck(const std::string& path, std::ostream& out, std::ostream& err) {
  CheckReport report;
  ParvexStatus status;
  const bool ran = ParvexCheckDatabase(string(path, kEncodingUTF8), &report, &status);
  return Report(ran, report, status, path, out, err);
}

int RunCheck(ParvexDatabase& db, const std::string& name, std::ostream& out, std::ostream& err) {
  CheckReport report;
  ParvexStatus status;
  const bool ran = ParvexCheckDatabase(db, &report, &status);
  return Report(ran, report, status, name, out, err);
}

int RunRecover(const std::string& from, const std::string& to, std::ostream& out, std::ostream& err) {
  RecoverReport report;
  ParvexStatus status;
  if (!ParvexRecoverDatabase(string(from, kEncodingUTF8), string(to, kEncodingUTF8), &report, &status)) {
    for (const std::string& line : report.lines) out << line << '\n';
    err << '[' << status.Code() << "] " << status.Description().view() << '\n';
    return kExitCannotRun;
  }
  for (const std::string& line : report.lines) out << line << '\n';
  out << report.Summary(to) << '\n';
  return report.Complete() ? kExitClean : kExitDamaged;
}

}  // namespace parvex::shell
