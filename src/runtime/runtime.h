// runtime: the front door of the runtime folder for the folders above it (cbt, isam, sql,
// services, api, fold, tools).
//
// The runtime's modules are each narrow and stand on the platform layer alone; this header
// offers exactly these of them, and the folders above include this header, never one of the
// modules' headers by itself:
//   trace.h    the line trace (KYT_TRACE, trace_on, trace_set_env_source)
//   rptrace.h  the protocol trace of the line drivers
//   lpdsn.h    the environment store and dataset names (lpdsn_get, lpdsn_dsn, ...)
//   cmdlang.h  the command language engine (rpxcid, rpxcie)
//   rpxdt.h    date-time and interval texts
//   numtext.h  integer texts read into a given range
//   params.h   station parameters as runtime modules read them
//   version.h  the version banner
//   guard.h    api_guard: the wrapper of every exported function (no exception crosses it)
//   msgcat.h   the message catalogue: keys, texts in English and German, rendering
//   kytlog.h   the station log: msg_report, and the channel it hands lines on to
// dsnfmt (completing a dataset name pattern) is the runtime's own and stays behind the door.
//
// Inside the folder the dependencies run one way: numtext, version and params stand alone,
// trace reads numbers through numtext and takes its settings from whatever source is
// installed (trace_set_env_source) without knowing lpdsn; cmdlang traces; lpdsn parses
// through cmdlang and installs itself as the trace's source; rptrace and rpxdt trace.
#ifndef KYT_RUNTIME_RUNTIME_H
#define KYT_RUNTIME_RUNTIME_H

#include "runtime/cmdlang.h"
#include "runtime/guard.h"
#include "runtime/kytlog.h"
#include "runtime/lpdsn.h"
#include "runtime/msgcat.h"
#include "runtime/numtext.h"
#include "runtime/params.h"
#include "runtime/rptrace.h"
#include "runtime/rpxdt.h"
#include "runtime/trace.h"
#include "runtime/version.h"

#endif  // KYT_RUNTIME_RUNTIME_H
