#!/usr/bin/env python3
"""Rewrites aggregator/kvaggr.h so that it includes every public header of the
library and of the host platform layer it is used with."""
import glob
import os

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
lib = sorted(os.path.basename(h) for h in glob.glob(os.path.join(root, 'aggregator', '*.h'))
             if os.path.basename(h) != 'kvaggr.h')
# The JSON reader belongs to the tools and is not installed.
host = sorted(os.path.basename(h) for h in glob.glob(os.path.join(root, 'host', '*.h'))
              if os.path.basename(h) != 'JsonReader.h')
text = ('// Umbrella header: every public header of the library, then the host\n'
        '// platform layer (datasets, loaders, iterators) that a program uses with it.\n'
        '#ifndef KVAGGR_KVAGGR_H\n#define KVAGGR_KVAGGR_H\n\n'
        + ''.join('#include "%s"\n' % h for h in lib) + '\n'
        + ''.join('#include "%s"\n' % h for h in host) + '\n#endif\n')
with open(os.path.join(root, 'aggregator', 'kvaggr.h'), 'w') as f:
    f.write(text)
