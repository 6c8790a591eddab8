// "svcheck catalogue": the author's side of a catalogue.
#ifndef SVCHECK_CATALOGUE_VERB_CATALOGUE_H_
#define SVCHECK_CATALOGUE_VERB_CATALOGUE_H_

namespace svc {

// Runs the verb; arguments[0] is its own name. Returns the program's exit status. Its work is in a
// module that is loaded here, so that no other verb pays for it.
int RunCatalogueVerb(int count, char** arguments);

}  // namespace svc

#endif  // SVCHECK_CATALOGUE_VERB_CATALOGUE_H_
