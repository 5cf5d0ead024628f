"""What all cases share."""

import unittest

from bench import Outcome


class Cases(unittest.TestCase):
    """Cases run on `bench`, which the runner sets, each on memories that it fits itself."""

    bench = None

    def gives(self, output, status, *command, stdin=""):
        """A program gives exactly this output and status."""
        self.assertEqual(self.bench.run(*command, stdin=stdin), Outcome(output, status))
