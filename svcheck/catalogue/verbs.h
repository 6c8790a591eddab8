// What each of the author's verbs does, once its command line is understood. Each returns the exit
// status and throws TFailure.
#ifndef SVCHECK_CATALOGUE_VERBS_H_
#define SVCHECK_CATALOGUE_VERBS_H_

#include <string>
#include <vector>

#include "svcheck/catalogue/program.h"

namespace svc::catalogue {

struct TCommand {
  std::string folder;  // Of the catalogue.
  std::string dataFolder;
  std::string format = "table";
  std::string output = "-";
  bool isLive = false;
  // list: show only what is for these; build: whom drivers, and rows that name none, are for.
  std::vector<std::string> machineTypes;
  std::vector<std::string> systems;
  // build: folders, packages and files of drivers; lists of firmware versions.
  std::vector<std::string> drivers;
  std::vector<std::string> firmware;
};

int LintCatalogue(const TCommand& command, const IProgram& program);
int ListCatalogue(const TCommand& command, const IProgram& program);
int BuildCatalogue(const TCommand& command, const IProgram& program);

}  // namespace svc::catalogue

#endif  // SVCHECK_CATALOGUE_VERBS_H_
