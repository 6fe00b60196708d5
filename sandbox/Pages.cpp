#include "Pages.h"

#include <map>
#include <nlohmann/json.hpp>
#include <string_view>

#include "PageFiles.h"
#include "RequestReading.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

std::string escaped(std::string_view text) {
  static const std::map<char, std::string> entities = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};
  std::string result;
  for (const char c : text) {
    const auto entity = entities.find(c);
    result += entity == entities.end() ? std::string(1, c) : entity->second;
  }
  return result;
}

/// The template with each {{name}} replaced by its value, which is HTML. Placeholders in values are not
/// replaced.
std::string filled(std::string_view page, const std::map<std::string, std::string, std::less<>>& values) {
  std::string result;
  for (std::size_t position = 0; position < page.size();) {
    const auto open = page.find("{{", position);
    const auto close = page.find("}}", open);
    if (close == std::string_view::npos) return result.append(page.substr(position));
    result += page.substr(position, open - position);
    result += values.at(std::string(page.substr(open + 2, close - open - 2)));
    position = close + 2;
  }
  return result;
}

Response page(std::string body) {
  return {.headers =
              {{"Content-Type", "text/html; charset=utf-8"},
               {"Cache-Control", "no-store"},
               {"Content-Security-Policy",
                "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:;"
                " base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
               {"X-Content-Type-Options", "nosniff"},
               {"Referrer-Policy", "no-referrer"}},
          .body = std::move(body)};
}

/// A link from the landing page. Only http and https URLs become links, because a campaign may contain any
/// text.
std::string destination(const json& link, const char* name, const char* caption) {
  const std::string url = link.value(name, "");
  if (!url.starts_with("https://") && !url.starts_with("http://")) return "";
  return "<li><a href=\"" + escaped(url) + "\" rel=\"noreferrer\">" + caption + "</a></li>";
}

}  // namespace

Response livePage() {
  return page(std::string(pageFiles::live_html));
}

Response landingPage(const json& link, const std::string& text) {
  const std::string slug = link.at("slug");
  const std::string campaign = link.value("campaign", "");
  return page(filled(pageFiles::landing_html,
                     {{"title", escaped(campaign.empty() ? slug : campaign)},
                      {"text", escaped(text)},
                      {"destinations", destination(link, "iosUrl", "Get it for iOS") +
                                           destination(link, "androidUrl", "Get it for Android") +
                                           destination(link, "fallbackUrl", "Continue in the browser")}}));
}

Response pageAsset(const Request& request) {
  struct Asset {
    std::string_view content;
    const char* type;
  };
  static const std::map<std::string, Asset> assets = {
      {"/sandbox/style.css", {pageFiles::style_css, "text/css"}},
      {"/sandbox/live.js", {pageFiles::live_js, "text/javascript; charset=utf-8"}},
      {"/sandbox/landing.js", {pageFiles::landing_js, "text/javascript; charset=utf-8"}}};
  const auto asset = assets.find(request.path);
  if (asset == assets.end()) throw Refusal(404, "not found: " + request.path);
  if (request.method != "GET") throw Refusal(405, request.path + " takes GET only", {{"Allow", "GET"}});
  return {.headers = {{"Content-Type", asset->second.type},
                      {"Cache-Control", "no-store"},
                      {"X-Content-Type-Options", "nosniff"}},
          .body = std::string(asset->second.content)};
}

}  // namespace corvane::sandbox
