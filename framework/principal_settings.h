#pragma once

// What a list of principals asks of the pages that hold a principal's settings. It works over targets, so a
// list needs no page's record type.

#include <memory>
#include <string_view>

#include "platform/text.h"

class PrincipalSettings {
 public:
  using AnyRecord = std::shared_ptr<void>;

  // What stands behind a principal's node in the page's own path, for example "::Logon".
  virtual std::string_view NodeSuffix() const = 0;
  // A copy of the target's settings: the edits that wait for it, else what is stored.
  virtual AnyRecord CopyOf(const CString& target) = 0;
  // Lets the settings, which a page of the same record made, wait under a target in place of those there.
  virtual void StashPending(AnyRecord settings, const CString& target) = 0;
  // Forgets what waits under exactly this target; false if nothing did.
  virtual bool DropPending(const CString& target) = 0;
  // Writes all that waits, in order of targets.
  virtual void ApplyPending() = 0;

 protected:
  ~PrincipalSettings() = default;
};
