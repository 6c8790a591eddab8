#include <gio/gio.h>

// Some of its headers do not say by themselves that they are C.
extern "C" {
#include <jcat.h>
}

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "base/bounded_json.h"
#include "base/error.h"
#include "host/hskcore/exception.h"
#include "runtime/xmlparser/document_window.h"
#include "svcheck/importer/appstream.h"

namespace svc::offers {

namespace {

// A signature file has some thousand bytes.
constexpr std::size_t kMostSignature = 4U << 20U;

struct TRelease {
  void operator()(gpointer object) const { ::g_object_unref(object); }
  void operator()(GBytes* bytes) const { ::g_bytes_unref(bytes); }
  void operator()(GPtrArray* list) const { ::g_ptr_array_unref(list); }
  void operator()(GError* error) const { ::g_error_free(error); }
};
template <typename T>
using THeld = std::unique_ptr<T, TRelease>;

TError Unsound(const std::string& file, const std::string& cause) {
  return TError("the signature " + file + " does not hold: " + cause +
                    "; get metadata and signature anew, or name the folder of the publisher's "
                    "certificates with --keys",
                EErrorKind::kCatalogue);
}

TError Unsound(const std::string& file, GError* error) {
  const THeld<GError> held(error);
  return Unsound(file, held ? held->message : "it is broken");
}

// The library takes an object for granted, each level of nesting for a call of its own, and for a
// value of two bytes some hundred. A published file has one item of a handful of signatures.
constexpr TJsonBounds kBounds = {.levels = 16, .values = 10'000};

void CheckJson(std::string_view text) {
  std::size_t values = 0;
  try {
    if (TBoundedJson<nlohmann::json>(kBounds, values).Read(text).is_object()) return;
  } catch (const nlohmann::json::exception&) {
    throw TError("it is no JSON");
  }
  throw TError("it is no signature file");
}

std::string ReadSignature(const std::string& file) {
  try {
    const xml::TFileBytes bytes = xml::ReadWholeFile(file);
    std::string json = Unpacked({bytes.bytes.get(), bytes.size}, kMostSignature);
    CheckJson(json);
    return json;
  } catch (const NQRXHSK20::THSKException& error) {
    throw Unsound(file, error.GetMessageText());
  } catch (const TError& error) {
    throw Unsound(file, error.what());
  }
}

// Without the engine for OpenPGP, which would make a key ring in the user's home.
THeld<JcatContext> NewContext() {
  THeld<JcatContext> context(::jcat_context_new());
  ::jcat_context_blob_kind_disallow(context.get(), JCAT_BLOB_KIND_GPG);
  return context;
}

// What the library says of a signature that is none; of a key that it cannot use, where it comes
// upon that before.
std::string SaidOfNonsense(JcatContext* context, JcatBlobKind kind) {
  GError* error = nullptr;
  const THeld<JcatEngine> engine(::jcat_context_get_engine(context, kind, &error));
  if (engine) {
    const THeld<GBytes> nonsense(::g_bytes_new_static("-", 1));
    const THeld<JcatResult> result(::jcat_engine_pubkey_verify(
        engine.get(), nonsense.get(), nonsense.get(), JCAT_VERIFY_FLAG_NONE, &error));
  }
  const THeld<GError> why(error);
  return why ? why->message : "";
}

// Whether the library takes the file for a key, or takes no notice of it. It stops at the first
// that it cannot use, and knows none of those behind it.
bool IsUsable(const std::string& file) {
  const THeld<JcatContext> without = NewContext();
  const THeld<JcatContext> with = NewContext();
  ::jcat_context_add_public_key(with.get(), file.c_str());
  constexpr std::array kKinds = {JCAT_BLOB_KIND_PKCS7, JCAT_BLOB_KIND_ED25519};
  return std::ranges::all_of(kKinds, [&](JcatBlobKind kind) {
    return SaidOfNonsense(with.get(), kind) == SaidOfNonsense(without.get(), kind);
  });
}

// The files of the folder, which holds no pipe: the library would wait for somebody to write there.
std::vector<std::string> FilesOf(const std::string& keyFolder) {
  std::vector<std::string> files;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(keyFolder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    const std::filesystem::path path = entry->path();
    if (entry->is_other(unknown))
      throw TError(path.string() +
                       " is a pipe or a device; keep files of certificates and keys in the folder "
                       "of --keys",
                   EErrorKind::kCatalogue);
    if (!entry->is_directory(unknown)) files.push_back(path.string());
  }
  std::ranges::sort(files);
  return files;
}

// Adds the keys of the folder. Returns a file that is none, though its name says so; empty where
// there is no such.
std::string AddKeys(const std::string& keyFolder, JcatContext* context) {
  std::string unusable;
  for (const std::string& file : FilesOf(keyFolder)) {
    if (IsUsable(file)) {
      ::jcat_context_add_public_key(context, file.c_str());
    } else if (unusable.empty()) {
      unusable = file;
    }
  }
  return unusable;
}

// What was signed under this name, or the only thing that was.
THeld<JcatItem> FindItem(JcatFile* signature, const std::string& name, const std::string& file) {
  THeld<JcatItem> item(::jcat_file_get_item_by_id(signature, name.c_str(), nullptr));
  if (item) return item;
  GError* error = nullptr;
  item.reset(::jcat_file_get_item_default(signature, &error));
  if (!item) throw Unsound(file, error);
  return item;
}

}  // namespace

void DemandSignature(std::string_view bytes, const std::string& name,
                     const std::string& signatureFile, const std::string& keyFolder) {
  const THeld<JcatContext> context = NewContext();
  const std::string unusable = AddKeys(keyFolder, context.get());
  const THeld<JcatFile> signature(::jcat_file_new());
  GError* error = nullptr;
  if (!::jcat_file_import_json(signature.get(), ReadSignature(signatureFile).c_str(),
                               JCAT_IMPORT_FLAG_NONE, &error)) {
    throw Unsound(signatureFile, error);
  }
  const THeld<JcatItem> item = FindItem(signature.get(), name, signatureFile);
  const THeld<GBytes> data(::g_bytes_new_static(bytes.data(), bytes.size()));
  const auto flags = static_cast<JcatVerifyFlags>(JCAT_VERIFY_FLAG_REQUIRE_CHECKSUM |
                                                  JCAT_VERIFY_FLAG_REQUIRE_SIGNATURE);
  const THeld<GPtrArray> results(
      ::jcat_context_verify_item(context.get(), data.get(), item.get(), flags, &error));
  if (results) return;
  const THeld<GError> why(error);
  const std::string cause = why ? why->message : "it is broken";
  throw Unsound(signatureFile,
                unusable.empty() ? cause : cause + " (" + unusable + " cannot be read as a key)");
}

}  // namespace svc::offers
