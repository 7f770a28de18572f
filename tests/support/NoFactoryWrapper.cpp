// A shared library that maps fine but exports no wrapper factory.
extern "C" __attribute__((visibility("default"))) int NotTheFactory() { return 0; }
