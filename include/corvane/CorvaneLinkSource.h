#pragma once

/// Where a deep link comes from.
enum class CorvaneLinkSource {
  deferred,      ///< Part of the attribution result: the link of the campaign that led to the install.
  reengagement,  ///< A link that opened the running application.
};
