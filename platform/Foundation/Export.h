// SPDX-License-Identifier: Apache-2.0
#pragma once

/// What a library of the house shows to those who link it; everything else stays hidden.
#define VELMORA_EXPORT [[gnu::visibility("default")]]
