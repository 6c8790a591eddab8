// What a worker that is a program of its own has to know, as the first frame that it is sent. Pure
// functions.
#ifndef SVCHECK_FLEET_SETTINGS_FRAME_H_
#define SVCHECK_FLEET_SETTINGS_FRAME_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/fleet/frame.h"
#include "svcheck/fleet/machine_check.h"

namespace svc::fleet {

// Both sides are the same program.
inline constexpr const char* kGreeting = "svcheck fleet " SVCHECK_VERSION;

inline std::string FrameOfSettings(const TCheckSettings& settings) {
  const TQueryOptions& query = settings.query;
  std::vector<std::string> texts = {kGreeting,
                                    settings.catalogue,
                                    settings.logFolder,
                                    query.dataFolder,
                                    query.plugin,
                                    std::to_string(query.logLevel),
                                    query.noBuiltinClasses ? "bare" : ""};
  texts.insert(texts.end(), query.context.begin(), query.context.end());
  std::string body;
  for (const std::string& text : texts) AppendFrame(body, text);
  std::string frame;
  AppendFrame(frame, body);
  return frame;
}

// None for what FrameOfSettings did not make.
inline std::optional<TCheckSettings> SettingsOfBody(std::string_view body) {
  if (TakeFrame(body) != kGreeting) return {};
  std::vector<std::string> texts;
  while (const auto text = TakeFrame(body)) texts.emplace_back(*text);
  constexpr std::size_t kAlways = 6;
  if (texts.size() < kAlways) return {};
  TCheckSettings settings;
  settings.catalogue = texts[0];
  settings.logFolder = texts[1];
  settings.query.dataFolder = texts[2];
  settings.query.plugin = texts[3];
  settings.query.logLevel = std::stoi(texts[4]);
  settings.query.noBuiltinClasses = !texts[5].empty();
  settings.query.context.assign(texts.begin() + kAlways, texts.end());
  return settings;
}

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_SETTINGS_FRAME_H_
