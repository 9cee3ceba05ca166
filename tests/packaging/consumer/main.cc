// A program outside the source tree that uses the installed library.
#include <mediastores/mediastores.h>

#include <cstdio>
#include <cstring>

int JsonClashCheck();

int main() {
  ConfigData value("48000");
  if (!value.IsValid() || value.ToString() != "48000") return 1;
  COxEventThread worker;
  if (worker.GetThreadId() == 0 || worker.GetThreadId() == GetThreadSelfId()) return 2;
  set_mock_time(1000);
  if (get_mock_time() != 1000) return 3;
  set_mock_time(~0ULL);
  char version[32];
  std::snprintf(version, sizeof(version), "%d.%d.%d", MEDIASTORES_VERSION_MAJOR,
                MEDIASTORES_VERSION_MINOR, MEDIASTORES_VERSION_PATCH);
  if (std::strcmp(version, MEDIASTORES_VERSION_STRING) != 0) return 4;
  if (JsonClashCheck() != 0) return 5;
  std::printf("consumer ok (mediastores %s)\n", MEDIASTORES_VERSION_STRING);
  return 0;
}
