#pragma once

/// Why a deep link is handed to the host.
enum class CorvaneLinkSource {
  deferred,      ///< It came with the install's attribution: the campaign that led to the install.
  reengagement,  ///< It came from a link that opened the running application.
};
