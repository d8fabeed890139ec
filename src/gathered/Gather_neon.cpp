// The horizontal pass in NEON registers.
#include <sys/auxv.h>

#include "filters/Neon.h"
#include "gathered/Gather16.h"
#include "gathered/Gather_dotprod.h"

namespace {

bool HasDotProducts() { return (getauxval(AT_HWCAP) & HWCAP_ASIMDDP) != 0; }

constexpr fourtap::GatherScheme WithDotProducts(fourtap::GatherScheme scheme) {
  scheme.filter = fourtap::FilterInFours_dotprod;
  scheme.runsHere = HasDotProducts;
  return scheme;
}

}  // namespace

FOURTAP_DEFINE_GATHER_SET(neon, WithDotProducts(SchemeOf16<Neon, Order::inFours>()),
                          SchemeOf16<Neon, Order::inHalves>(), SchemeOf16<Neon, Order::inFours>())
