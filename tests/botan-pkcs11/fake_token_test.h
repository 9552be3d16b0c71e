// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "fake_token.h"
#include "layer_test.h"
#include "support/spytoken.h"

/// A session with the fake token; the log is empty when a test begins.
class FakeTokenTest : public testing::Test {
 protected:
  FakeTokenTest() : module(SPYTOKEN), slot(module, 5), session(slot, false) { spy.take_calls(); }

  FakeToken& token = fresh_fake_token();
  test_support::SpyToken& spy = test_support::spytoken();
  Module module;
  Slot slot;
  Session session;
};
