// A program outside the source tree that uses the installed library.
#include <mediastores/mediastores.h>

#include <cstdio>

int main() {
  ConfigData value("48000");
  if (!value.IsValid() || value.ToString() != "48000") return 1;
  COxEventThread worker;
  if (worker.GetThreadId() == 0 || worker.GetThreadId() == GetThreadSelfId()) return 2;
  set_mock_time(1000);
  if (get_mock_time() != 1000) return 3;
  set_mock_time(~0ULL);
  std::printf("consumer ok\n");
  return 0;
}
