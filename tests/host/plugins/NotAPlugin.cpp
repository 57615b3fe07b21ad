// A shared library with no plug-in metadata: the plug-in manager must refuse it and say why.
extern "C" int hostTestNotAPlugin()
{
    return 42;
}
