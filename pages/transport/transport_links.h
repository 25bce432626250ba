#pragma once

// What pages of the transport settings ask of each other, through the page directory. A page that does not
// exist offers nothing.

// The general page.
class FipsSwitch {
 public:
  // The box as it stands on the screen, whatever the store says; clear as long as the page was never shown.
  virtual bool IsFipsModeTicked() const = 0;

 protected:
  ~FipsSwitch() = default;
};

// The cipher, MAC and key exchange pages.
class AlgorithmList {
 public:
  // Makes the default list the pending edit of the page's current target, also while the page has no window.
  virtual void ResetToDefaults() = 0;

 protected:
  ~AlgorithmList() = default;
};
