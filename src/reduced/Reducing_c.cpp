#include "reduced/ReducingKernels_c.h"

namespace fourtap {
ReducingKernels const reducingKernels_c = {
    AverageLines_c,
    ReduceLines_c,
    {AverageBlocks_c<1>, AverageBlocks_c<2>, AverageBlocks_c<3>, AverageBlocks_c<4>},
    {ReduceColumns_c<1>, ReduceColumns_c<2>, ReduceColumns_c<3>, ReduceColumns_c<4>}};
}
