// solver_exports.h - what the files that stamp out the exported solver routines share: the
// adapter and the typed bodies, the names their entry macros use, and the two macros that write
// a routine's public element type and convert a public pointer to the internal one.
//
// Included only by the *_exports.cpp files of this directory.
#pragma once

#include "solvers/host_adapter.h"
#include "solvers/solvers.h"

#include "zuli_lapack.h"

namespace {

using zuli::CallContext;
using zuli::CallResult;
using zuli::fromPublic;
using zuli::HostArrayMirror;
using zuli::MirrorIn;
using zuli::MirrorOut;

}  // namespace

#define ZULI_P(T) zuli::PublicType<T>
#define ZULI_IN(T, p) fromPublic<T>(p)
