// Parvex from C++: the same as example.c through the RAII layer. Usage:
// example_cpp FILE
#include <iostream>
#include <parvex/parvex.hpp>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  parvex::Database db;
  parvex::Status status = db.Open(argv[1], PARVEX_OPEN_CREATE);
  if (status) status = db.Exec("CREATE TABLE people (name String, born Date, height Double)");

  parvex::Statement insert = db.Prepare("INSERT INTO people VALUES (?, ?, ?)");
  insert.Bind(1, "Zoë Ünal").BindDate(2, "1990-04-01").Bind(3, 1.68);
  if (status) status = insert.Run();
  insert.Bind(1, "Ada").BindDate(2, "1815-12-10").Bind(3, -1.5);
  if (status) status = insert.Run();
  if (status) status = db.Commit();
  if (!status) {
    std::cerr << '[' << status.sqlstate << "] " << status.message << '\n';
    return 1;
  }

  parvex::Statement select = db.Prepare("SELECT UPPER(name), born, height FROM people ORDER BY born");
  while (select.Step()) {
    std::cout << *select.Text(0) << " | " << *select.Text(1) << " | " << select.Double(2) << '\n';
  }
  if (!select.status()) {
    std::cerr << '[' << select.status().sqlstate << "] " << select.status().message << '\n';
    return 1;
  }
  return 0;
}
