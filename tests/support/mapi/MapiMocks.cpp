#include "tests/support/mapi/MapiMocks.h"

namespace tests
{
template class Mocked<MockProp>;
template class Mocked<MockMsgStore>;
template class Mocked<MockFolder>;
template class Mocked<MockTable>;
template class Mocked<MockSession>;
template class Mocked<MockClientShutdown>;
} // namespace tests
