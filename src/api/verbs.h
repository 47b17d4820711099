// verbs: the handlers of the batch command set that kytcmd defines (one a verb, in the order
// of the set). Each writes or changes the rows of its verb and answers the command's code;
// docs/commands.md describes every verb, its keywords and its results.
#ifndef KYT_API_VERBS_H
#define KYT_API_VERBS_H

#include <cstdint>

#include "runtime/runtime.h"

namespace kyt::api {

int32_t verb_start(const cmd_args& args, cmd_msg* msg);
int32_t verb_end(const cmd_args& args, cmd_msg* msg);
int32_t verb_user(const cmd_args& args, cmd_msg* msg);
int32_t verb_recv(const cmd_args& args, cmd_msg* msg);
int32_t verb_eerp(const cmd_args& args, cmd_msg* msg);
int32_t verb_send(const cmd_args& args, cmd_msg* msg);      // cmdsend.cpp
int32_t verb_resentr(const cmd_args& args, cmd_msg* msg);   // cmdresentr.cpp
int32_t verb_receiver(const cmd_args& args, cmd_msg* msg);
int32_t verb_modst(const cmd_args& args, cmd_msg* msg);
int32_t verb_delst(const cmd_args& args, cmd_msg* msg);     // cmddelst.cpp
int32_t verb_activate(const cmd_args& args, cmd_msg* msg);
int32_t verb_setparm(const cmd_args& args, cmd_msg* msg);
int32_t verb_listparm(const cmd_args& args, cmd_msg* msg);
int32_t verb_print(const cmd_args& args, cmd_msg* msg);
int32_t verb_sendjob(const cmd_args& args, cmd_msg* msg);
int32_t verb_opcmd(const cmd_args& args, cmd_msg* msg);

// The command number the running handler assigned (the CN of the KT row it made), handed
// back by kytcal; 0 when it made none. Set by the handlers, reset by kytcmd before each line.
void set_command_number(int32_t cn);
int32_t command_number();

}  // namespace kyt::api

#endif  // KYT_API_VERBS_H
