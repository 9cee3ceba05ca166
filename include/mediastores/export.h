// Symbol visibility for libmediastores. The library is built with hidden visibility; everything
// a host process may call is marked MEDIASTORES_API.
#ifndef MEDIASTORES_EXPORT_H_
#define MEDIASTORES_EXPORT_H_

#define MEDIASTORES_API __attribute__((visibility("default")))

#endif  // MEDIASTORES_EXPORT_H_
