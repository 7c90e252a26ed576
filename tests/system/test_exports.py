"""The functions that the program exports: its HID layer, for who loads into the process."""
import subprocess
import unittest

from program import BUILD

HIDAPI = """hid_init hid_exit hid_enumerate hid_free_enumeration hid_open hid_open_path hid_close
    hid_error hid_read hid_read_timeout hid_set_nonblocking hid_write hid_send_feature_report
    hid_get_feature_report hid_get_input_report hid_get_manufacturer_string hid_get_product_string
    hid_get_serial_number_string hid_get_indexed_string""".split()
QUERIES = """hid_get_input_report_lenght hid_get_feature_report_lenght
    hid_get_output_report_lenght""".split()


class ExportTest(unittest.TestCase):
    def test_hid_layer(self):
        lines = subprocess.run(["nm", "-D", "--defined-only", BUILD / "Quorvane"], check=True,
                               capture_output=True, text=True, timeout=60).stdout.splitlines()
        functions = {name for _, kind, name in map(str.split, lines) if kind == "T"}
        self.assertEqual({*HIDAPI, *QUERIES} - functions, set())


if __name__ == "__main__":
    unittest.main(verbosity=2)
