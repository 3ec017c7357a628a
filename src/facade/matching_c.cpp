#include "facade/handles.hpp"

#include <caprion/language.hpp>
#include <caprion/ranking.hpp>
#include <caprion/release_name.hpp>

#include <string>

using caprion::Language;

// Holds handles rather than records, as the getters return borrowed handles.
struct caprion_ranking {
  struct Place {
    caprion_subtitle subtitle;
    caprion_evidence evidence;
    std::string reason;
  };
  std::vector<Place> places;
};

struct caprion_release_name {
  caprion::ReleaseName fields;
};

namespace {

static_assert(int(caprion::Evidence::content) == CAPRION_EVIDENCE_CONTENT);
static_assert(int(caprion::Evidence::release) == CAPRION_EVIDENCE_RELEASE);
static_assert(int(caprion::Evidence::title) == CAPRION_EVIDENCE_TITLE);

const caprion_ranking::Place* placeAt(const caprion_ranking* ranking, size_t index) {
  return index < caprion_ranking_count(ranking) ? &ranking->places[index] : nullptr;
}

// The handle of a language is its address in the library's table.
const caprion_language* handleOf(const Language* language) {
  return reinterpret_cast<const caprion_language*>(language);
}

// The strings are literals, so they are NUL-terminated.
const char* textOf(const caprion_language* language, std::string_view Language::*text) {
  return language == nullptr ? nullptr : (reinterpret_cast<const Language*>(language)->*text).data();
}

}  // namespace

caprion_ranking* caprion_ranking_new(const caprion_subtitle_list* hits, const char* path) {
  if (hits == nullptr || path == nullptr) return nullptr;
  return caprion::orNull([&]() -> caprion_ranking* {
    std::vector<std::shared_ptr<const caprion::Subtitle>> records;
    records.reserve(hits->subtitles.size());
    for (const caprion_subtitle& hit : hits->subtitles) records.push_back(hit.record);
    auto ranked = caprion::rankedSubtitles(records, caprion::URL::fileURLWithPath(path));
    if (!ranked) return nullptr;
    auto ranking = std::make_unique<caprion_ranking>();
    for (caprion::RankedSubtitle& hit : *ranked) {
      const auto evidence = static_cast<caprion_evidence>(hit.evidence);
      ranking->places.push_back({{std::move(hit.subtitle)}, evidence, std::move(hit.reason)});
    }
    return ranking.release();
  });
}

void caprion_ranking_free(caprion_ranking* ranking) { delete ranking; }

size_t caprion_ranking_count(const caprion_ranking* ranking) {
  return ranking == nullptr ? 0 : ranking->places.size();
}

const caprion_subtitle* caprion_ranking_subtitle_at(const caprion_ranking* ranking, size_t index) {
  const auto* const place = placeAt(ranking, index);
  return place == nullptr ? nullptr : &place->subtitle;
}

caprion_evidence caprion_ranking_evidence_at(const caprion_ranking* ranking, size_t index) {
  const auto* const place = placeAt(ranking, index);
  return place == nullptr ? CAPRION_EVIDENCE_CONTENT : place->evidence;
}

const char* caprion_ranking_reason_at(const caprion_ranking* ranking, size_t index) {
  const auto* const place = placeAt(ranking, index);
  return place == nullptr ? nullptr : place->reason.c_str();
}

caprion_release_name* caprion_release_name_new(const char* path) {
  if (path == nullptr) return nullptr;
  return caprion::orNull([&]() -> caprion_release_name* {
    if (*path == '\0') return new caprion_release_name{};  // a URL would name the working directory
    return new caprion_release_name{caprion::ReleaseName::from(caprion::URL::fileURLWithPath(path))};
  });
}

void caprion_release_name_free(caprion_release_name* name) { delete name; }

const char* caprion_release_name_title(const caprion_release_name* name) {
  return name == nullptr ? nullptr : name->fields.title.c_str();
}

bool caprion_release_name_year(const caprion_release_name* name, int* number) {
  return name != nullptr && caprion::numberOf(name->fields.year, number);
}

bool caprion_release_name_season(const caprion_release_name* name, int* number) {
  return name != nullptr && caprion::numberOf(name->fields.season, number);
}

size_t caprion_release_name_episode_count(const caprion_release_name* name) {
  return name == nullptr ? 0 : name->fields.episodes.size();
}

int caprion_release_name_episode_at(const caprion_release_name* name, size_t index) {
  return index < caprion_release_name_episode_count(name) ? name->fields.episodes[index] : 0;
}

const caprion_language* caprion_language_from(const char* code) {
  const auto language = code == nullptr ? std::nullopt : Language::from(code);
  for (const Language& known : Language::all()) {
    if (known == language) return handleOf(&known);
  }
  return nullptr;
}

size_t caprion_language_count() { return Language::all().size(); }

const caprion_language* caprion_language_at(size_t index) {
  return index < Language::all().size() ? handleOf(&Language::all()[index]) : nullptr;
}

const char* caprion_language_identifier(const caprion_language* language) {
  return textOf(language, &Language::identifier);
}
const char* caprion_language_iso6391(const caprion_language* language) {
  return textOf(language, &Language::iso6391);
}
const char* caprion_language_iso6392(const caprion_language* language) {
  return textOf(language, &Language::iso6392);
}
const char* caprion_language_tag(const caprion_language* language) {
  return textOf(language, &Language::tag);
}
const char* caprion_language_name(const caprion_language* language) {
  return textOf(language, &Language::name);
}
