// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "module_trial.h"

namespace tee_token_admin {

// What each clause tries. All throw, as Trial::judge takes it, when the module does not do it.

Judgement try_load(Trial& trial);
Judgement try_token(Trial& trial);
Judgement try_login(Trial& trial);
Judgement try_pin(Trial& trial);
Judgement try_cycles(Trial& trial);
Judgement try_login_rules(Trial& trial);

Judgement try_data(Trial& trial);
Judgement try_vendor_attributes(Trial& trial);
Judgement try_chain(Trial& trial);
Judgement try_many_results(Trial& trial);
Judgement try_trust_group(Trial& trial);
Judgement try_second_process(Trial& trial);
Judgement try_destroy(Trial& trial);

Judgement try_key_pair(Trial& trial);
Judgement try_ec_point(Trial& trial);
Judgement try_private_key(Trial& trial);
Judgement try_signature(Trial& trial);

Judgement try_interface(Trial& trial);
Judgement try_installation(Trial& trial);
Judgement try_refusals(Trial& trial);

Judgement measure_signature(Trial& trial);
Judgement measure_session(Trial& trial);

}  // namespace tee_token_admin
