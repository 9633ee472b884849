// The cells of a device that kep-rg import-icebox makes, as far as multiply.ys uses them.
(* blackbox *) module \bel.io.1 (output D_IN_0, input D_OUT_0); endmodule
(* blackbox *) module \bel.lutff.1 (input in_0, in_1, in_2, in_3, output out); endmodule

(* techmap_celltype = "$lut" *)
module lut_to_lutff(A, Y);
  parameter WIDTH = 0, LUT = 0;
  input [WIDTH-1:0] A;
  output Y;
  wire [3:0] in = {4'bx, A};
  \bel.lutff.1 _TECHMAP_REPLACE_ (.in_0(in[0]), .in_1(in[1]), .in_2(in[2]), .in_3(in[3]), .out(Y));
endmodule
