// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace velmora {

class NSObject;
class UIView;

/// The view itself, or the one whose guide it is; empty for anything else.
std::shared_ptr<UIView> viewOfItem(const std::shared_ptr<NSObject>& item);

/// Gives the views below `host` whose masks are not translated the frames that the constraints among them say. Where
/// constraints contradict each other, those that came first hold, and the log says so.
void solveConstraints(UIView& host);

}
